# Debian packages: cpack -G DEB in a build tree, or the preset `package`, which builds what they hold and no more.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_NAME isofield)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "The isofield authors <isofield@example.org>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/finish-packages.cmake)
set(CPACK_COMPONENTS_ALL libraries development)
if(TARGET isofield_tool)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/mod_util ${PROJECT_BINARY_DIR}/host)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# debian_package(component name section kind text): lines of the text stand as in a control file
function(debian_package component name section kind text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "derived geometry and data from fields - ${kind}
isofield turns a field, which is a mesh of nodes and cells with data on them,
into isosurfaces, cuts, bands, streamlines, derivatives and other derived
geometry and data.
.
${text}" PARENT_SCOPE)
endfunction()

debian_package(libraries libisofield0 libs "shared libraries"
"This package holds the library and its default host.")
file(CONFIGURE OUTPUT cmake/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/cmake/triggers)

debian_package(development libisofield-dev libdevel "development files"
"This package holds the headers for C and C++20, static libraries, the files for
CMake and pkg-config, and examples.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS libraries)

debian_package(tool isofield science "command-line tool"
"This package holds the tool isofield, which reads and writes files of VTK,
Exodus, NetCDF and other formats, and makes pictures.")
set(CPACK_COMPONENT_TOOL_DEPENDS libraries)
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS xvfb)  # pictures on a machine without a display

include(CPack)

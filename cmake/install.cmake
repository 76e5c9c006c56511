# What an installation holds, in three components: the shared libraries, what programs are built with, and the tool
# (its rules are in app/).
include(CMakePackageConfigHelpers)

install(TARGETS isofield isofield_static isofield_host isofield_host_static EXPORT isofield-targets
        LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(DIRECTORY include/ host/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
        FILES_MATCHING PATTERN isofield*.h PATTERN isofield*.hpp)
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development PATTERN build EXCLUDE)

# find_package(isofield)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/isofield)
set(binary_dir ${PROJECT_BINARY_DIR}/cmake)
configure_package_config_file(cmake/isofield-config.cmake.in ${binary_dir}/isofield-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${binary_dir}/isofield-config-version.cmake COMPATIBILITY SameMinorVersion)
install(EXPORT isofield-targets NAMESPACE isofield:: DESTINATION ${package_dir} COMPONENT development)
install(FILES ${binary_dir}/isofield-config.cmake ${binary_dir}/isofield-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

# pkg-config isofield isofield-host; the files find the tree that they stand in.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH up_to_prefix /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" up_to_prefix "${up_to_prefix}")
foreach(name isofield isofield-host)
  configure_file(cmake/${name}.pc.in ${binary_dir}/${name}.pc @ONLY)
  install(FILES ${binary_dir}/${name}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
endforeach()

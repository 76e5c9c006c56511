# Run by CPack between installing and packing: what a Debian package has and an installation has not.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(name ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(doc ${root}/share/doc/${name})
  file(MAKE_DIRECTORY ${doc})
  file(COPY_FILE ${CPACK_RESOURCE_FILE_LICENSE} ${doc}/copyright)
  file(WRITE ${doc}/changelog
       "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n  * Version ${CPACK_PACKAGE_VERSION}.\n\n"
       " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${doc}/changelog COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${doc}/copyright ${doc}/changelog.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  # The system's loader finds these libraries with no path.
  file(GLOB_RECURSE binaries ${root}/bin/* ${root}/*.so*)
  foreach(binary IN LISTS binaries)
    if(NOT IS_SYMLINK ${binary})
      file(RPATH_REMOVE FILE ${binary})
    endif()
  endforeach()
endforeach()

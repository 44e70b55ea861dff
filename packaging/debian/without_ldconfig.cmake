# Run by CPack over the finished packages. CPack gives each package of a library scripts that call ldconfig,
# which Debian has done once for all packages, by a trigger: the scripts leave.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(package MATCHES "/lib[a-z]+[0-9]+_")
    set(tree ${CPACK_TEMPORARY_DIRECTORY}/unpacked)
    file(REMOVE_RECURSE ${tree})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()

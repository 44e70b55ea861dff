# Run by CPack over the installed trees before they become packages: adds what only Debian's packages have.
set(from ${CMAKE_CURRENT_LIST_DIR}/..)
# The places below are whole paths; CPack's own installing is done.
unset(ENV{DESTDIR})

# qx_compress(FILES...) compresses without name and time, as every build gives the same.
function(qx_compress)
  if(ARGN)
    execute_process(COMMAND gzip --best --no-name ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component})
  string(TOUPPER ${component} key)
  set(doc ${tree}/usr/share/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  file(INSTALL ${from}/debian/copyright ${from}/debian/changelog DESTINATION ${doc})
  file(RENAME ${doc}/changelog ${doc}/changelog.Debian)
  file(GLOB pages ${tree}/usr/share/man/man*/*)
  qx_compress(${doc}/changelog.Debian ${pages})
  # Where packages put them, the loader finds the libraries by itself.
  file(GLOB binaries ${tree}/usr/bin/* ${tree}/usr/lib/*/*.so.*)
  foreach(binary IN LISTS binaries)
    if(NOT IS_SYMLINK ${binary})
      file(RPATH_REMOVE FILE ${binary})
    endif()
  endforeach()
endforeach()

set(tree ${CPACK_TEMPORARY_DIRECTORY}/tools)
file(INSTALL ${from}/provider.conf DESTINATION ${tree}/etc/qxprovider)
file(INSTALL ${from}/sysusers.d ${from}/tmpfiles.d DESTINATION ${tree}/usr/lib)
file(GLOB units ${from}/systemd/*.service ${from}/systemd/*.timer)
if(units)
  file(INSTALL ${units} DESTINATION ${tree}/lib/systemd/system)
endif()
# The folder in which zsh looks for what packages bring.
file(RENAME ${tree}/usr/share/zsh/site-functions ${tree}/usr/share/zsh/vendor-completions)

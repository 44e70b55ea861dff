# What other programs find the library by, and the Debian packages.
include(CMakePackageConfigHelpers)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qxsapssf)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/packaging/qxsapssf-config.cmake.in
  ${PROJECT_BINARY_DIR}/qxsapssf-config.cmake
  INSTALL_DESTINATION ${config_folder}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qxsapssf-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/qxsapssf-config.cmake ${PROJECT_BINARY_DIR}/qxsapssf-config-version.cmake
  DESTINATION ${config_folder}
  COMPONENT development)

# The installed tree may be moved: its root is told from the place of the file.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_folder} /)
configure_file(${PROJECT_SOURCE_DIR}/packaging/qxsapssf.pc.in ${PROJECT_BINARY_DIR}/qxsapssf.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qxsapssf.pc DESTINATION ${pkgconfig_folder}
        COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "qxsapssf maintainers <maintainers@qxsapssf.example>"
    CACHE STRING "Who answers for the packages: name and address")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library provider development tools)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/finish.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/without_ldconfig.cmake)
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# qx_debian_package(COMPONENT NAME SECTION SYNOPSIS [DEPENDS text] [RECOMMENDS text])
# The package of a component; its control files lie in packaging/debian/NAME/control, its long description
# in packaging/debian/NAME/description.
macro(qx_debian_package component name section synopsis)
  cmake_parse_arguments(ARG "" "DEPENDS;RECOMMENDS" "" ${ARGN})
  set(folder ${PROJECT_SOURCE_DIR}/packaging/debian/${name})
  string(TOUPPER ${component} key)
  file(READ ${folder}/description description)
  file(GLOB control CONFIGURE_DEPENDS ${folder}/control/*)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${synopsis}\n${description}")
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${control})
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${ARG_DEPENDS}")
  set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${ARG_RECOMMENDS}")
endmacro()

qx_debian_package(
  library libqxsapssf1 libs "SAP Secure Store and Forward library with GOST algorithms"
  DEPENDS "libqxprovider1 ${same_version}"
  RECOMMENDS "qxssf-tools")
# The engine is loaded by its name, which no tool sees.
qx_debian_package(
  provider libqxprovider1 libs "keys, certificates and messages of the SSF library"
  DEPENDS "libengine-gost-openssl"
  RECOMMENDS "ca-certificates, qxssf-tools")
qx_debian_package(
  development libqxsapssf-dev libdevel "SAP Secure Store and Forward library: development files"
  DEPENDS "libqxsapssf1 ${same_version}")
qx_debian_package(
  tools qxssf-tools utils "command-line tools of the SSF library and its provider"
  DEPENDS "libqxsapssf1 ${same_version}, systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
include(CPack)

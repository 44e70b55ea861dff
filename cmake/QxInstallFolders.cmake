# Where things are installed: GNU's folders, the libraries in Debian's folder for this architecture, where
# the loader, pkg-config and find_package look below /usr/local, too.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE STRING "Folder of the libraries")
endif()
include(GNUInstallDirs)

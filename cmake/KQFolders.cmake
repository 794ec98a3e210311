# Where things are installed, and the version in the forms that installed files need.

# Debian's layout has a library folder for each architecture; so has every prefix here, /usr or not: both data
# models fit into one prefix, and the packages of CPack need no other configuration than ./test's.
if(CMAKE_LIBRARY_ARCHITECTURE AND EXISTS /etc/debian_version)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder of the libraries")
endif()
include(GNUInstallDirs)
file(RELATIVE_PATH KQ_BIN_TO_LIB /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})

# As KQPLAYER_VERSION in version.h.
math(EXPR KQ_VERSION_NUMBER "${PROJECT_VERSION_MAJOR} * 10000 + ${PROJECT_VERSION_MINOR} * 100 + ${PROJECT_VERSION_PATCH}")

# Debian packages: cpack -G DEB --config build/<preset>/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kqplayer)
set(CPACK_PACKAGE_VENDOR KQPlayer)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
# Whoever makes packages for others says who answers for them: cmake --preset release -D KQ_MAINTAINER="Name <address>"
set(KQ_MAINTAINER "KQPlayer developers <kqplayer@localhost>" CACHE STRING "Maintainer that the packages name")
set(CPACK_PACKAGE_CONTACT "${KQ_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/deb)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_COMPONENTS_ALL Runtime Development)
if(TARGET kqplay)
    list(APPEND CPACK_COMPONENTS_ALL Program)
endif()
if(TARGET kq_python)
    list(APPEND CPACK_COMPONENTS_ALL Python)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Dependencies on distribution packages are those that dpkg-shlibdeps finds.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/bin)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
endif()
# The packages' changelogs: of the last commit's time, so that equal sources give equal packages.
execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%cd "--date=format:%a, %d %b %Y %H:%M:%S %z"
                OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT date)
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
endif()
configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${PROJECT_BINARY_DIR}/packaging/changelog @ONLY)
execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/packaging/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_KQ_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/FinishPackages.cmake)

# kq_package_changelog(COMPONENT PACKAGE)
function(kq_package_changelog component package)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/changelog.gz DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
            COMPONENT ${component})
endfunction()

set(runtime "libkqplayer${PROJECT_VERSION_MAJOR}")
set(this_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "embeddable, frame-accurate media player component
The shared library that hosts load, its sibling libraries, and the library
that draws its views in X11 windows and Wayland surfaces.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkqplayer-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} ${this_version}")
if(TARGET kq_streams)
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", pkgconf | pkg-config, libavformat-dev, libavcodec-dev,"
           " libavfilter-dev, libavutil-dev, libswscale-dev, libswresample-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "embeddable media player component: building hosts
Headers, CMake package, pkg-config files, the guide and examples, and media
files through FFmpeg as streams for the player.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME kqplay)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION video)
# Any font that fontconfig finds will do; this one is what its own package prefers.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${runtime} ${this_version}, fonts-dejavu-core")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS libdecor-0-plugin-1-cairo) # decorations on Wayland
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "media player that steps, seeks and compares exactly
Plays media files in a window, moves to the very frame, shows two files or
a filter's result side by side, and writes stills and contact sheets.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-kqplayer)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
# The extension is for the minor version of Python that it was built with.
if(TARGET kq_python)
    math(EXPR next_minor "${KQ_PYTHON_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "${runtime} ${this_version}, python3 (>= 3.${KQ_PYTHON_MINOR}), python3 (<< 3.${next_minor}), python3-numpy")
endif()
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "frame-accurate media files and player for Python
Pictures of media files by number, by time and in order as NumPy arrays,
their sound, exact conversions, and a player with views for toolkits.")

kq_package_changelog(Runtime ${runtime})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/libkqplayer.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${runtime} COMPONENT Runtime)
kq_package_changelog(Development libkqplayer-dev)
if(TARGET kqplay)
    kq_package_changelog(Program kqplay)
endif()
if(TARGET kq_python)
    kq_package_changelog(Python python3-kqplayer)
endif()

include(CPack)

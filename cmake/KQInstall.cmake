# What `cmake --install` installs, in three components: Runtime (the libraries), Development (what building a
# host takes) and Program (kqplay). The installed tree may be moved.
include(CMakePackageConfigHelpers)
set(templates ${PROJECT_SOURCE_DIR}/packaging)
set(generated ${PROJECT_BINARY_DIR}/packaging)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/KQPlayer)

# The binary interface's number is the major version.
set_target_properties(KQPlayer KQ_Com KQ_Log KQ_ImageProc PROPERTIES
                      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(kqplayer_headers PROPERTIES EXPORT_NAME Headers)
install(TARGETS KQPlayer KQ_Com KQ_Log KQ_ImageProc kqplayer_headers EXPORT KQPlayerTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
# Looked for beside libKQPlayer.so. Its name never changes, and says so where libraries lie.
target_link_options(PlayerView PRIVATE -Wl,-soname,PlayerView.so)
install(TARGETS PlayerView LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kqplayer DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT Development FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kqplayer
        COMPONENT Development)
# What a host's author reads. The pages name each other by these names.
install(FILES ${PROJECT_SOURCE_DIR}/docs/guide.md ${PROJECT_SOURCE_DIR}/docs/troubleshooting.md
        ${PROJECT_SOURCE_DIR}/docs/conversions.md ${PROJECT_SOURCE_DIR}/docs/toolkits.md
        ${PROJECT_SOURCE_DIR}/docs/toolkits-x11.png ${PROJECT_SOURCE_DIR}/docs/toolkits-wayland.png DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kqplayer
        COMPONENT Development)
install(EXPORT KQPlayerTargets NAMESPACE KQPlayer:: DESTINATION ${cmake_folder} COMPONENT Development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kqplayer COMPONENT Development)

file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(pc_files kqplayer.pc)
set(KQ_HAS_STREAMS FALSE)
if(TARGET kq_streams)
    set(KQ_HAS_STREAMS TRUE)
    set_target_properties(kq_streams PROPERTIES OUTPUT_NAME KQStreams EXPORT_NAME Streams)
    install(TARGETS kq_streams EXPORT KQPlayerStreamsTargets
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
    install(EXPORT KQPlayerStreamsTargets NAMESPACE KQPlayer:: DESTINATION ${cmake_folder} COMPONENT Development)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/streams/include/kqplayer
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
    list(APPEND pc_files kqplayer-streams.pc)
endif()
foreach(pc ${pc_files})
    configure_file(${templates}/${pc}.in ${generated}/${pc} @ONLY)
    install(FILES ${generated}/${pc} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endforeach()

configure_package_config_file(${templates}/KQPlayerConfig.cmake.in ${generated}/KQPlayerConfig.cmake
                              INSTALL_DESTINATION ${cmake_folder}
                              PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR
                              NO_CHECK_REQUIRED_COMPONENTS_MACRO)
math(EXPR KQ_BITS "${CMAKE_SIZEOF_VOID_P} * 8")
write_basic_package_version_file(${generated}/BasicVersion.cmake COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
file(READ ${generated}/BasicVersion.cmake KQ_BASIC_VERSION)
configure_file(${templates}/KQPlayerConfigVersion.cmake.in ${generated}/KQPlayerConfigVersion.cmake @ONLY)
install(FILES ${generated}/KQPlayerConfig.cmake ${generated}/KQPlayerConfigVersion.cmake
        DESTINATION ${cmake_folder} COMPONENT Development)

if(TARGET kqplay)
    install(TARGETS kqplay RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Program)
    install(FILES ${templates}/kqplay.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT Program)
    install(FILES ${templates}/org.kqplayer.kqplay.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT Program)
    install(FILES ${templates}/kqplay.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps
            COMPONENT Program)
    # Manual pages are installed compressed; without a time stamp, equal sources give equal packages.
    execute_process(COMMAND gzip -9nc ${templates}/kqplay.1 OUTPUT_FILE ${generated}/kqplay.1.gz
                    COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${templates}/kqplay.1)
    install(FILES ${generated}/kqplay.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Program)
    install(FILES ${templates}/kqplay.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            RENAME kqplay COMPONENT Program)
endif()

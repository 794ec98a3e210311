# Run by cpack when the packages are made.
foreach(package ${CPACK_PACKAGE_FILES})
    execute_process(COMMAND ${CPACK_KQ_PACKAGING}/finish_package.sh ${package} ${CPACK_KQ_PACKAGING}/libkqplayer.symbols
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

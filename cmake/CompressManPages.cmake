# Run by cpack on what it is about to pack: distributions have manual pages compressed.
file(GLOB pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/man1/*.1)
if(pages AND CPACK_GZIP_COMMAND)
    execute_process(COMMAND ${CPACK_GZIP_COMMAND} -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()

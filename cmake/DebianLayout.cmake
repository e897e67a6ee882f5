# Run by cpack on what it is about to pack, where Debian has a custom of its own: manual pages are
# compressed, and zsh looks for packages' completions in another folder than for what is built.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/tools/usr/share)
file(GLOB pages ${share}/man/man1/*.1)
if(pages AND CPACK_GZIP_COMMAND)
    execute_process(COMMAND ${CPACK_GZIP_COMMAND} -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
if(EXISTS ${share}/zsh/site-functions)
    file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
endif()

if(DM_SANITIZE)
    add_compile_options(-fsanitize=${DM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${DM_SANITIZE})
endif()
if(DM_BUILD_FUZZERS)
    # Everything counts its branches, or the fuzz targets would search the libraries blindly.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()

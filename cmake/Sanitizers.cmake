if(DM_SANITIZE)
    add_compile_options(-fsanitize=${DM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${DM_SANITIZE})
endif()

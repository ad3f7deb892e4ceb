# TARSIN_SANITIZE: comma-separated sanitizers for the whole build (presets asan and tsan).
set(TARSIN_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(TARSIN_SANITIZE)
    add_compile_options(-fsanitize=${TARSIN_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TARSIN_SANITIZE})
    if(TARSIN_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()

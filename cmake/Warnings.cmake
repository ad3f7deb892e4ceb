# Warnings are errors in our own code; `tarsin_warnings` is linked by every module.
add_library(tarsin_warnings INTERFACE)
target_compile_options(tarsin_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

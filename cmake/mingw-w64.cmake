# Toolchain file: builds for 64-bit Windows on Linux with mingw-w64. TARSIN_WINDOWS_PREFIX is the
# folder of the libraries that scripts/windows/libraries.sh builds.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(target x86_64-w64-mingw32)
# The variant with std::thread.
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_RC_COMPILER ${target}-windres)

if(NOT TARSIN_WINDOWS_PREFIX)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/windows/prefix.sh
        OUTPUT_VARIABLE TARSIN_WINDOWS_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
endif()
set(TARSIN_WINDOWS_PREFIX ${TARSIN_WINDOWS_PREFIX} CACHE PATH "Libraries built for Windows")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARSIN_WINDOWS_PREFIX)

set(CMAKE_FIND_ROOT_PATH /usr/${target} ${TARSIN_WINDOWS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# GCC keeps wide vectors on stacks that Windows aligns to 16 bytes only, and moves them as if they
# were aligned; the assembler turns those moves into ones that may be unaligned.
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")

# No DLL of the compiler's to ship.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# ctest runs the Windows programs through this.
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${CMAKE_CURRENT_LIST_DIR}/../scripts/windows/with-wine.sh wine)

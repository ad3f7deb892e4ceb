# What comes from outside. packages.list names the Debian package of each; those of the Windows
# build stand in a prefix of their own (scripts/windows/libraries.sh).
find_package(Threads REQUIRED)
find_package(pugixml REQUIRED)
if(WIN32)
    include(DependenciesWindows)
else()
    include(DependenciesLinux)
endif()

if(NOT TARSIN_ENGINE_ONLY)
    find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets Xml Network)
    if(NOT WIN32)
        find_package(Qt5 5.15 REQUIRED COMPONENTS DBus)
    endif()
    pkg_check_modules(ffmpeg REQUIRED IMPORTED_TARGET
        libavdevice libavformat libavcodec libswscale libavutil)
    pkg_check_modules(sdl2 REQUIRED IMPORTED_TARGET sdl2)
endif()

find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(asio_headers INTERFACE)
target_include_directories(asio_headers SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
# Asio looks for std::aligned_alloc before or after the standard library has announced it, depending
# on what a file includes first; files that differ in that would allocate by one and free by another.
target_compile_definitions(asio_headers INTERFACE
    ASIO_STANDALONE ASIO_NO_DEPRECATED ASIO_DISABLE_STD_ALIGNED_ALLOC)
target_link_libraries(asio_headers INTERFACE Threads::Threads ${TARSIN_SOCKET_LIBRARIES})
if(TARSIN_SANITIZE MATCHES thread)
    # ThreadSanitizer does not understand fences; Asio's own locks order the same things.
    target_compile_definitions(asio_headers INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()

# What comes from the system. packages.list names the Debian package of each.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets Xml Network)
find_package(spdlog REQUIRED)
find_package(fmt REQUIRED)
find_package(pugixml REQUIRED)

pkg_check_modules(ffmpeg REQUIRED IMPORTED_TARGET
    libavdevice libavformat libavcodec libswscale libavutil)
pkg_check_modules(sdl2 REQUIRED IMPORTED_TARGET sdl2)

find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(asio_headers INTERFACE)
target_include_directories(asio_headers SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_compile_definitions(asio_headers INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(asio_headers INTERFACE Threads::Threads)
if(TARSIN_SANITIZE MATCHES thread)
    # ThreadSanitizer does not understand fences; Asio's own locks order the same things.
    target_compile_definitions(asio_headers INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()

if(NOT WIN32)
    pkg_check_modules(avahi REQUIRED IMPORTED_TARGET avahi-client)
    pkg_check_modules(xcb REQUIRED IMPORTED_TARGET
        xcb xcb-shm xcb-damage xcb-randr xcb-xfixes)
endif()

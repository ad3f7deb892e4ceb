find_package(PkgConfig REQUIRED)
find_package(spdlog REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
pkg_check_modules(avahi REQUIRED IMPORTED_TARGET avahi-client)
pkg_check_modules(xcb REQUIRED IMPORTED_TARGET
    xcb xcb-shm xcb-damage xcb-randr xcb-xfixes xcb-xinput)
# For the Wayland module alone; the programs don't link them.
pkg_check_modules(wayland REQUIRED IMPORTED_TARGET wayland-client)
pkg_check_modules(pipewire REQUIRED IMPORTED_TARGET libpipewire-0.3)
pkg_check_modules(gio REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
pkg_check_modules(wayland_protocols_data REQUIRED wayland-protocols)
# For the overlay's own program.
if(NOT TARSIN_ENGINE_ONLY)
    find_package(LayerShellQt QUIET)
    if(NOT LayerShellQt_FOUND)
        message(STATUS "No LayerShellQt (liblayershellqtinterface-dev): with Qt's own Wayland platform "
                       "regions are drawn on an image of the screen")
    endif()
endif()

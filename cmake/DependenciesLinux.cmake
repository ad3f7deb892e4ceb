find_package(PkgConfig REQUIRED)
find_package(spdlog REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
pkg_check_modules(avahi REQUIRED IMPORTED_TARGET avahi-client)
pkg_check_modules(xcb REQUIRED IMPORTED_TARGET
    xcb xcb-shm xcb-damage xcb-randr xcb-xfixes)

# pkg-config must see the prefix and nothing of the machine's, and name what static libraries need.
set(ENV{PKG_CONFIG_LIBDIR} ${TARSIN_WINDOWS_PREFIX}/lib/pkgconfig)
set(PKG_CONFIG_ARGN --static)
# Never an import library where there is a static one.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
find_package(PkgConfig REQUIRED)

# Headers only here; spdlog's own set-up file asks for fmt as a library of its own.
add_library(fmt::fmt INTERFACE IMPORTED)
target_include_directories(fmt::fmt SYSTEM INTERFACE ${TARSIN_WINDOWS_PREFIX}/include)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
add_library(spdlog::spdlog INTERFACE IMPORTED)
target_link_libraries(spdlog::spdlog INTERFACE fmt::fmt)
foreach(library CLI11::CLI11 nlohmann_json::nlohmann_json)
    add_library(${library} INTERFACE IMPORTED)
    target_include_directories(${library} SYSTEM INTERFACE ${TARSIN_WINDOWS_PREFIX}/include)
endforeach()

# windows.h without its min and max macros and without the sockets of 1991; Windows 10.
add_compile_definitions(NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE
    _WIN32_WINNT=0x0A00 WINVER=0x0A00)
set(TARSIN_SOCKET_LIBRARIES ws2_32 mswsock)

# The capture of a Wayland session: from the compositor's buffer into the sender's frame.
if(TARGET capture_pipewire)
    add_executable(bench_framebox bench_framebox.cpp)
    target_link_libraries(bench_framebox PRIVATE tarsin_warnings capture_pipewire benchmark::benchmark)
endif()

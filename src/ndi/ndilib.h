#pragma once
// The C interface through which the senders publish: four functions and two records, binary
// compatible with the vendor's runtime on x86-64 (layouts as observed by public interoperability
// work; sizes and offsets are asserted in ndilibrary.cpp).
//
// The functions are implemented in ndilibrary.cpp, which hands each call to the vendor's runtime
// when the machine has one and to the built-in output otherwise.

#include <cstdint>

extern "C" {

struct NDIlib_send_instance_type;
typedef struct NDIlib_send_instance_type* NDIlib_send_instance_t;

/// Four characters, the first one in the lowest byte.
typedef enum NDIlib_FourCC_type_e : std::int32_t {
    NDIlib_FourCC_type_UYVY = 0x59565955,
    NDIlib_FourCC_type_BGRA = 0x41524742,
    NDIlib_FourCC_type_BGRX = 0x58524742,
} NDIlib_FourCC_type_e;

typedef enum NDIlib_frame_format_type_e : std::int32_t {
    NDIlib_frame_format_type_interleaved = 0,
    NDIlib_frame_format_type_progressive = 1,
    NDIlib_frame_format_type_field_0 = 2,
    NDIlib_frame_format_type_field_1 = 3,
} NDIlib_frame_format_type_e;

/// Timecode value: use the time of the call.
constexpr std::int64_t NDIlib_send_timecode_synthesize = INT64_MAX;

typedef struct NDIlib_send_create_t {
    const char* p_ndi_name;  ///< Source name, UTF-8.
    const char* p_groups;    ///< Null: the default groups.
    bool clock_video;        ///< The send call returns at the next slot of the frame rate.
    bool clock_audio;
} NDIlib_send_create_t;

typedef struct NDIlib_video_frame_v2_t {
    int xres, yres;  ///< Pixels.
    NDIlib_FourCC_type_e FourCC;
    int frame_rate_N, frame_rate_D;
    float picture_aspect_ratio;  ///< Width / height of the frame; 0: square pixels.
    NDIlib_frame_format_type_e frame_format_type;
    std::int64_t timecode;  ///< Units of 100 ns.
    std::uint8_t* p_data;
    int line_stride_in_bytes;  ///< 0: rows are packed.
    const char* p_metadata;    ///< XML or null.
    std::int64_t timestamp;    ///< Units of 100 ns since 1970-01-01 UTC.
} NDIlib_video_frame_v2_t;

/// Prepares the library. False: it can't run on this machine. May be called more than once.
bool NDIlib_initialize();

/// Creates a source and announces it on the network. Null when that fails, for example because its
/// name is taken. Blocks until the name is known to be free (about a second).
NDIlib_send_instance_t NDIlib_send_create(const NDIlib_send_create_t* p_create_settings);

/// Sends one uncompressed frame. The data is not read after the call. With clock_video the call
/// returns when the next frame is due.
void NDIlib_send_send_video_v2(NDIlib_send_instance_t p_instance,
                               const NDIlib_video_frame_v2_t* p_video_data);

/// Withdraws the source.
void NDIlib_send_destroy(NDIlib_send_instance_t p_instance);

}  // extern "C"

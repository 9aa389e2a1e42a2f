#include "test/support/ClipsOfEveryKind.h"

namespace kivtest {
namespace {

const NamedClip kClips[] = {
    {"h264_23976", {.rate = {24000, 1001}, .bFrames = 3}},
    {"h264_one_group", {.gop = 250, .bFrames = 3}},
    {"h264_2997", {.rate = {30000, 1001}, .gop = 15}},
    {"h264_30", {.rate = {30, 1}, .gop = 7, .bFrames = 3}},
    {"h264_50_intra", {.rate = {50, 1}, .gop = 1}},
    {"h264_5994", {.rate = {60000, 1001}, .gop = 30, .bFrames = 3}},
    {"h264_120", {.rate = {120, 1}, .gop = 60, .bFrames = 3}},
    {"h264_open_groups", {.gop = 10, .bFrames = 3, .openGop = true}},
    // Pictures soon after the one that their decoding starts at, in the last group.
    {"h264_open_group_of_two", {.frames = 62, .bFrames = 3, .openGop = true}},
    {"h264_open_groups_of_six", {.frames = 24, .gop = 6, .bFrames = 3, .openGop = true}},
    {"h264_fragmented", {.bFrames = 3, .movflags = "frag_keyframe+empty_moov"}},
    {"h264_audio", {.rate = {30000, 1001}, .bFrames = 3, .audioCodec = "aac"}},
    {"h264_mkv_2997", {.container = "mkv", .rate = {30000, 1001}, .bFrames = 3}},
    {"h264_mkv_120", {.container = "mkv", .rate = {120, 1}, .bFrames = 2, .openGop = true}},
    {"h264_flv", {.container = "flv", .bFrames = 2}},
    {"h264_ts", {.container = "ts", .bFrames = 3, .openGop = true, .audioCodec = "mp2"}},
    {"h264_ts_23976", {.container = "ts", .rate = {24000, 1001}, .bFrames = 2}},
    {"h264_start_offset", {.bFrames = 3, .startMilliseconds = 1400}},
    {"h264_ts_start_offset", {.container = "ts", .bFrames = 3, .startMilliseconds = 5000}},
    {"h264_raw", {.container = "h264"}},
    {"h264_raw_b_frames", {.container = "h264", .bFrames = 3}},
    {"h264_10_bits", {.pixelFormat = "yuv420p10le", .bFrames = 3}},
    {"hevc_mp4", {.codec = "libx265", .bFrames = 3}},
    {"hevc_open_groups", {.codec = "libx265", .bFrames = 3, .openGop = true}},
    {"hevc_mkv", {.codec = "libx265", .container = "mkv", .bFrames = 4, .openGop = true}},
    {"hevc_raw", {.codec = "libx265", .container = "hevc", .bFrames = 2}},
    {"mpeg2_ps", {.codec = "mpeg2video", .container = "mpg", .bFrames = 2, .audioCodec = "mp2"}},
    {"mpeg2_ts", {.codec = "mpeg2video", .container = "ts", .bFrames = 2, .openGop = true}},
    {"mpeg2_raw", {.codec = "mpeg2video", .container = "m2v", .bFrames = 2}},
    {"mpeg4_avi", {.codec = "mpeg4", .container = "avi", .bFrames = 2}},
    {"mpeg4_mp4", {.codec = "mpeg4", .bFrames = 2, .openGop = true}},
    {"mjpeg_avi",
     {.codec = "mjpeg", .container = "avi", .pixelFormat = "yuvj420p", .audioCodec = "pcm_s16le"}},
    {"ffv1_mkv", {.codec = "ffv1", .container = "mkv", .pixelFormat = "yuv422p10le"}},
    {"prores_mov", {.codec = "prores_ks", .container = "mov", .pixelFormat = "yuv422p10le"}},
    {"qtrle_mov", {.codec = "qtrle", .container = "mov", .pixelFormat = "rgb24"}},
    {"vp8_webm", {.codec = "libvpx", .container = "webm"}},
    {"vp9_webm", {.codec = "libvpx-vp9", .container = "webm"}},
    {"gif", {.codec = "gif", .container = "gif", .pixelFormat = "rgb8", .rate = {10, 1}}},
    {"asf", {.codec = "mpeg4", .container = "asf"}},
    {"ogg_theora", {.codec = "libtheora", .container = "ogv"}},
    {"nut", {.codec = "mpeg4", .container = "nut", .bFrames = 2}},
};

}  // namespace

std::span<const NamedClip> ClipsOfEveryKind() { return kClips; }

}  // namespace kivtest

// The pipe types: the meaning of the pipe names in a configuration and of the third number in a
// parameter file's name.
#pragma once

struct PipeType {
    const char* name;
    int value;
};

/// In the order in which the library enters them into its table.
constexpr PipeType kPipeTypes[] = {
    {"PREVIEW_TYPE", 0},       {"SNAPSHOT_TYPE", 1},  {"CALLBACK_TYPE", 2},
    {"ASYNC_TYPE", 4},         {"REPROCESS_TYPE", 5}, {"VIDEO_TYPE", 3},
    {"PREVIEW_VIDEO_TYPE", 6}, {"NOZSL_TYPE", 7},     {"SNAPSHOT_RAW_TYPE", 8},
    {"SNAPSHOT_YUV_TYPE", 9},
};

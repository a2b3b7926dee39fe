// Readers of names that accept exactly the names that core/TreeNames.h makes. A replay accepts
// more: here "pipe_01" is not the folder of pipe 1. They take the name without its folder; for any
// other name they return false and leave `out` unchanged.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include <string_view>

namespace tyktree {

bool readPipeFolderName(std::string_view name, int& pipeId);
bool readConfigFileName(std::string_view name, int& pipeId);

/// The local time in a folder's name, digit by digit; it may be impossible.
struct Stamp {
    int year;   ///< without the 90 years that names add; 0 if the name has no year
    int month;  ///< from 1
    int day;
    int hour;
    int minute;
    int second;
    int millisecond;
};

struct TaskFolderName {
    Stamp stamp;
    int taskIndex;
};

bool readTaskFolderName(std::string_view name, TaskFolderName& out);

/// The stamp has no year.
struct FrameFolderName {
    Stamp stamp;
    int requestId;
    int sofId;
};

bool readFrameFolderName(std::string_view name, FrameFolderName& out);

/// Whether imageFilePath() makes an image file's name. readImageFileName() also accepts names of
/// another pixel format; a replay reads these files as NV21 too.
bool namesNv21(std::string_view name);

}  // namespace tyktree

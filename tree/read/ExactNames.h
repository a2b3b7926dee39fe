// Readers of names that accept exactly what core/TreeNames.h makes, where a replay takes more:
// "pipe_01" is not the folder of pipe 1. They take the bare name and return false, `out` unchanged,
// for any other.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include <string_view>

namespace tyktree {

bool readPipeFolderName(std::string_view name, int& pipeId);
bool readConfigFileName(std::string_view name, int& pipeId);

/// The local time in a folder's name, digit by digit. Whether there is such a time is not looked
/// at.
struct Stamp {
    int year;   ///< the real one, without the names' 90 years; 0 where the name has none
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

/// Whether an image file's name is one that imageFilePath() makes. readImageFileName() also takes
/// names of another pixel format, which a replay then reads as NV21 all the same.
bool namesNv21(std::string_view name);

}  // namespace tyktree

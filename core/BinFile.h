// Values and images as whole files: writeToBin() and readBin() for the files of a frame's folder.
// Threads: any, for different files. Throws nothing.
#pragma once

class Folder;

/// writeToBin() for a file of `folder`, which may be null. Logs in the name of writeToBin(): level
/// 1 when the file cannot be opened or `size` is negative.
void writeBinIn(const Folder* folder, const char* path, const void* data, int size);

/// readBin() for a file of `folder`, which may be null. Logs in the name of readBin(): level 1 when
/// the file cannot be opened or `size` is negative.
void readBinIn(const Folder* folder, const char* path, void* data, int size);

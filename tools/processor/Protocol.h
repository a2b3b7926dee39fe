// The protocol between tyksim and the process that runs a processor. Any process with this protocol
// can replace the pipeline; ProcessorServer runs shared objects, python/tyksim/processor.py runs
// files in Python.
//
// The process starts with three descriptors: its end of a socket pair that keeps messages apart
// (SOCK_SEQPACKET), and two anonymous files of shared memory. `given` is what tyksim writes into,
// `made` is what the process writes into. The writer may make its file longer but not shorter,
// which a seal prevents; the reader maps it again when it has become longer.
//
// tyksim sends a request and waits for its answer. From the request to the answer only the process
// uses the memory, otherwise only tyksim. tyksim checks every answer: an invalid answer or a closed
// socket ends the process.
//
//   request   `given` holds                            answer        `made` holds
//   kLoad     the path of the processor, absolute, and kDone         nothing
//             that of the tag table, "" for none,
//             each ended by a NUL
//   kOpen     the options, each ended by a NUL         kDone         nothing
//   kFrame    a FrameGiven and what it refers to       kDone         a FrameMade and the same
//   kClose    nothing                                  kDone         nothing; the process ends
//                                                      kFailed       the reason, a text
//                                                      kRefused      likewise: the user's options
//                                                                    are wrong; for kOpen
//
// After kFailed for a frame the next frame follows; after other failures tyksim ends the process. A
// closed process ends with status 0. tyksim kills a process that it no longer needs.
//
// Numbers have the machine's byte order and the declared sizes. Pieces begin at multiples of
// kPieceAlignment.
#pragma once

#include <cstdint>

namespace tyksim {

enum class MessageKind : uint32_t {
    kLoad = 1,
    kOpen = 2,
    kFrame = 3,
    kClose = 4,
    kDone = 100,
    kFailed = 101,
    kRefused = 102,
};

/// A message on the socket.
struct Message {
    uint32_t kind;
    uint32_t reserved;  ///< 0
    uint64_t bytes;     ///< used bytes at the beginning of the sender's shared memory
};

/// A part of a shared file.
struct Piece {
    uint64_t at;  ///< offset in the file
    uint64_t bytes;
};
constexpr uint64_t kPieceAlignment = 64;

/// An NV21 picture: rows without gaps, (width * height * 3) / 2 bytes as in an image file.
struct SharedPicture {
    int32_t width;  ///< 0: no picture
    int32_t height;
    Piece pixels;
};

/// See tyksim_parameter.
struct SharedParameter {
    uint32_t tag;
    uint32_t camera;
    int32_t pipeType;
    uint32_t sof;
    uint32_t isBlock;
    uint32_t reserved;
    Piece name;  ///< a NUL follows, which does not count
    Piece data;
};

/// See tyksim_frame; at the beginning of `given`.
struct FrameGiven {
    int32_t request;
    int32_t sof;
    int32_t camera;
    int32_t pipe;
    uint32_t task;
    uint32_t position;
    SharedPicture picture;
    Piece parameters;  ///< an array of SharedParameter
};

/// A value for all parameters of a tag.
struct SharedValue {
    uint32_t tag;
    uint32_t reserved;
    Piece data;
};

/// The result of a frame; at the beginning of `made`.
struct FrameMade {
    SharedPicture picture;
    /// 1: the picture is that in `given` as the process left it, and `picture` is empty.
    uint32_t pictureIsGiven;
    uint32_t reserved;
    Piece values;  ///< an array of SharedValue
};

static_assert(sizeof(Message) == 16 && sizeof(Piece) == 16, "processes of other builds read it");
static_assert(sizeof(SharedPicture) == 24 && sizeof(SharedParameter) == 56,
              "processes of other builds read it");
static_assert(sizeof(FrameGiven) == 64 && sizeof(SharedValue) == 24,
              "processes of other builds read it");
static_assert(sizeof(FrameMade) == 48, "processes of other builds read it");

}  // namespace tyksim

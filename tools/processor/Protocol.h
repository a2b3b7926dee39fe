// What tyksim and the process that runs a processor say to each other. Whatever speaks this can
// stand in the pipeline's place; ProcessorServer runs shared objects so.
//
// The process starts with three descriptors: its end of a socket pair that keeps messages apart
// (SOCK_SEQPACKET), and two anonymous files of shared memory. `given` is what tyksim writes into,
// `made` is what the process writes into. The writer makes a file longer where it needs to and
// never shorter, which the system refuses; the reader maps it again when it is longer than what is
// mapped.
//
// tyksim sends a request and waits for the one answer to it. From the request to the answer the
// memory is the process's, else tyksim's. tyksim trusts no answer: what makes no sense ends the
// process, and so does everything that closes the socket.
//
//   request   `given` holds                            answer        `made` holds
//   kLoad     the path of the processor, absolute      kDone         nothing
//   kOpen     the options, each ended by a NUL         kDone         nothing
//   kFrame    a FrameGiven and what it refers to       kDone         a FrameMade and the same
//   kClose    nothing                                  kDone         nothing; the process ends
//                                                      kFailed       the reason, a text
//
// After kFailed for a frame the next one follows, after kFailed for another request the end. A
// process that was closed ends with status 0. tyksim kills one that it no longer needs.
//
// Numbers have the machine's own byte order and sizes as declared. Pieces begin at multiples of
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
};

/// All that goes through the socket.
struct Message {
    uint32_t kind;
    uint32_t reserved;  ///< 0
    uint64_t bytes;     ///< that the sender's shared memory holds from its beginning
};

/// A part of a shared file.
struct Piece {
    uint64_t at;  ///< from the beginning of the file
    uint64_t bytes;
};
constexpr uint64_t kPieceAlignment = 64;

/// An NV21 picture: rows without gaps, and the (width * height * 3) / 2 bytes that an image file
/// has.
struct SharedPicture {
    int32_t width;  ///< 0: there is no picture
    int32_t height;
    Piece pixels;
};

/// As tyksim_parameter.
struct SharedParameter {
    uint32_t tag;
    uint32_t camera;
    int32_t pipeType;
    uint32_t sof;
    uint32_t isBlock;
    uint32_t reserved;
    Piece name;  ///< a NUL follows, which is not counted
    Piece data;
};

/// As tyksim_frame; at the beginning of `given`.
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

/// What came of a frame; at the beginning of `made`.
struct FrameMade {
    SharedPicture picture;
    uint32_t pictureIsGiven;  ///< 1: the picture is the one in `given`, and `picture` is empty
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

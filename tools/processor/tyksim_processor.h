/* The interface of a processor for `tyksim replay TREE --with PROCESSOR.so -o OUT`: a shared object
 * that replaces the camera pipeline. It exports the four functions at the end of this file, with C
 * linkage. Every replayed frame goes through tyksim_process(), and its results are recorded into
 * OUT under the same request and sof ids.
 *
 * Threads: all calls come from one thread, one after the other. Memory: data from tyksim are valid
 * until the call returns; tyksim copies the results of a processor during the call.
 *
 * A processor has a process of its own, with tyksim's standard streams, environment and working
 * folder. It shares only the memory of the data passed here with tyksim. If the process ends before
 * the last frame is processed, by a crash or by exit(), the run fails: tyksim reports how the
 * process ended and at which frame, and does not make OUT. SIGINT, SIGTERM, SIGHUP and SIGPIPE have
 * no effect on the process; tyksim gets them too, and ends the process at once.
 */
#ifndef TYKSIM_PROCESSOR_H
#define TYKSIM_PROCESSOR_H

#include <stddef.h> /* NOLINT(modernize-deprecated-headers): for C too */
#include <stdint.h> /* NOLINT(modernize-deprecated-headers) */

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this interface. tyksim refuses a processor that was built for another one. */
#define TYKSIM_PROCESSOR_VERSION 1

#define TYKSIM_PROCESSOR_EXPORT __attribute__((visibility("default")))

/* An NV21 picture: `height` rows of `width` luma bytes, then (height + 1) / 2 rows of
 * (width + 1) / 2 pairs of V and U bytes. `stride` is the length of a row in bytes, luma and chroma
 * alike; tyksim passes rows that are tightly packed. In a returned picture a stride of 0 means
 * the width. `size` is the number of bytes at `pixels`: at least those of an image file, which has
 * the first (width * height * 3) / 2 bytes of tightly packed rows. If the width or height is odd,
 * an image file and a captured picture end before the last chroma bytes. */
struct tyksim_picture {
    const uint8_t* pixels;
    size_t size;
    int32_t width;
    int32_t height;
    int32_t stride;
};

/* One parameter as it arrived in the parameter-set service. */
struct tyksim_parameter {
    uint32_t tag;     /* id */
    const char* name; /* the tag's name */
    uint32_t camera;
    int32_t pipe_type;
    uint32_t sof;
    int32_t is_block; /* 0: a fixed-size value; 1: a block */
    const void* data;
    size_t size; /* bytes */
};

/* One frame. Later versions of this interface may add members at the end. */
struct tyksim_frame {
    int32_t request;
    int32_t sof;
    int32_t camera;
    int32_t pipe;
    uint32_t task;                        /* position of the task, from 1 */
    uint32_t position;                    /* of the frame within its task, from 1 */
    const struct tyksim_picture* picture; /* null: the frame has no image */
    const struct tyksim_parameter* parameters;
    size_t parameter_count;
};

/* The functions for a processor's results: call them with `context`. They return 0, or another
 * value for invalid arguments (no such tag, null data, a size that does not fit the tag or the
 * picture); the frame then counts as failed. */
struct tyksim_output {
    void* context;

    /* The frame's picture, of any size from 1 x 1 to 16384 x 12288. The last call counts. The
     * frame's own picture may be returned, and is not copied then. */
    int (*set_picture)(void* context, const struct tyksim_picture* picture);

    /* A new value for every parameter of this tag. A fixed-size value must have the tag's size, a
     * block at least one byte and less than 2 GiB. The last call for a tag counts. */
    int (*set_parameter)(void* context, uint32_t tag, const void* data, size_t size);

    /* Tells the user the reason, before tyksim_process() returns a value other than 0. */
    void (*fail)(void* context, const char* message);
};

/* Returns the TYKSIM_PROCESSOR_VERSION with which the processor was built. */
TYKSIM_PROCESSOR_EXPORT int tyksim_processor_version(void);

/* Called once before the first frame. `options` are the texts of --option, in order. Stores a
 * pointer to the processor's own data in `state`. Returns 0, or another value after storing the
 * reason, terminated, in the `error_size` bytes of `error`; no other function is called then. */
TYKSIM_PROCESSOR_EXPORT int tyksim_open(const char* const* options, size_t option_count,
                                        void** state, char* error, size_t error_size);

/* Called in order for every frame that arrived exactly as in its files. Returns 0 for success: if a
 * picture was set, the frame is recorded with it and with all parameters, of which the new values
 * replace those that arrived; if no picture was set, no frame is recorded. Any other value ends the
 * frame with an error, and the next frame follows. */
TYKSIM_PROCESSOR_EXPORT int tyksim_process(void* state, const struct tyksim_frame* frame,
                                           const struct tyksim_output* output);

/* Called once after the last frame, but not if the run fails or is stopped. The process then ends
 * like exit(0). */
TYKSIM_PROCESSOR_EXPORT void tyksim_close(void* state);

#ifdef __cplusplus
}
#endif

#endif

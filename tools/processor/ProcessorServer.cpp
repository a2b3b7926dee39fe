#include "tools/processor/ProcessorServer.h"

#include "tags/Problem.h"
#include "tools/console/Console.h"
#include "tools/processor/ProcessorRules.h"
#include "tools/processor/tyksim_processor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <exception>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktags::Status;

/// A loaded shared object. It stays loaded, because its threads or exit handlers may still need it.
class Library {
public:
    /// Throws Failure when it cannot be loaded, has not all functions or was built for another
    /// version.
    explicit Library(const char* path) : library_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (!library_) throw Failure(fmt::format("expected a processor: {}", dlerror()));
        const int version = find<int()>("tyksim_processor_version")();
        if (version != TYKSIM_PROCESSOR_VERSION) {
            throw Failure(fmt::format(
                "expected a processor for version {} of the interface, found version {}",
                TYKSIM_PROCESSOR_VERSION, version));
        }
        open = find<decltype(tyksim_open)>("tyksim_open");
        process = find<decltype(tyksim_process)>("tyksim_process");
        close = find<decltype(tyksim_close)>("tyksim_close");
    }

    decltype(&tyksim_open) open;
    decltype(&tyksim_process) process;
    decltype(&tyksim_close) close;

private:
    template <typename Function>
    Function* find(const char* name) const {
        void* const symbol = dlsym(library_, name);
        if (symbol) return reinterpret_cast<Function*>(symbol);
        throw Failure(fmt::format("expected a processor with the function {}, found none", name));
    }

    void* library_;
};

/// A frame in `given`, in the form of the processor's interface.
class ArrivedFrame {
public:
    explicit ArrivedFrame(SharedMemory& given) {
        FrameGiven shared{};
        std::memcpy(&shared, given.find({0, sizeof(shared)}), sizeof(shared));
        frame_.request = shared.request;
        frame_.sof = shared.sof;
        frame_.camera = shared.camera;
        frame_.pipe = shared.pipe;
        frame_.task = shared.task;
        frame_.position = shared.position;
        if (shared.picture.width > 0) {
            const Piece& pixels = shared.picture.pixels;
            picture_ = {given.find(pixels), pixels.bytes, shared.picture.width,
                        shared.picture.height, shared.picture.width};
            frame_.picture = &picture_;
        }
        addParameters(given, shared.parameters);
    }
    ArrivedFrame(const ArrivedFrame&) = delete;
    ArrivedFrame& operator=(const ArrivedFrame&) = delete;

    const tyksim_frame& frame() const { return frame_; }

private:
    void addParameters(SharedMemory& given, const Piece& list) {
        const auto* const shared = reinterpret_cast<const SharedParameter*>(given.find(list));
        for (size_t i = 0; i < list.bytes / sizeof(*shared); ++i) {
            const SharedParameter& parameter = shared[i];
            parameters_.push_back({parameter.tag,
                                   reinterpret_cast<const char*>(given.find(parameter.name)),
                                   parameter.camera, parameter.pipeType, parameter.sof,
                                   static_cast<int32_t>(parameter.isBlock),
                                   given.find(parameter.data), parameter.data.bytes});
        }
        frame_.parameters = parameters_.data();
        frame_.parameter_count = parameters_.size();
    }

    tyksim_frame frame_{};
    tyksim_picture picture_{};
    std::vector<tyksim_parameter> parameters_;
};

/// Collects the results of a processor in `made`. The processor calls its functions, which must not
/// throw because the processor may be written in a language without exceptions.
class FrameOutput {
public:
    FrameOutput(const tyksim_frame& frame, SharedMemory& made) : frame_(frame), made_(made) {
        made_.clear();
        head_ = made_.add(sizeof(FrameMade));
        output_ = {this, setPicture, setParameter, fail};
    }
    FrameOutput(const FrameOutput&) = delete;
    FrameOutput& operator=(const FrameOutput&) = delete;

    const tyksim_output& output() const { return output_; }
    const std::string& error() const { return error_; }

    /// Stores the results.
    void finish() {
        result_.values = made_.add(values_.data(), values_.size() * sizeof(SharedValue));
        std::memcpy(made_.at(head_), &result_, sizeof(result_));
    }

private:
    template <typename Action>
    int guarded(Action action) noexcept {
        try {
            const Status status = action();
            if (status.ok()) return 0;
            error_ = status.problem().reason;
        } catch (const std::exception& error) {
            error_ = error.what();
        }
        return 1;
    }

    static int setPicture(void* context, const tyksim_picture* picture) {
        auto& self = *static_cast<FrameOutput*>(context);
        return self.guarded([&] { return self.takePicture(picture); });
    }

    static int setParameter(void* context, uint32_t tag, const void* data, size_t size) {
        auto& self = *static_cast<FrameOutput*>(context);
        return self.guarded([&] { return self.takeValue(tag, data, size); });
    }

    static void fail(void* context, const char* message) {
        if (!message || *message == '\0') return;
        auto& self = *static_cast<FrameOutput*>(context);
        self.guarded([&] { return Status(tyktags::flaw("", "", message)); });
    }

    Status takePicture(const tyksim_picture* picture) {
        if (!picture) return tyktags::flaw("", "", "returned a null pointer as a picture");
        if (Status status = checkPicture(*picture); !status.ok()) return status;
        result_.pictureIsGiven = isGiven(*picture) ? 1 : 0;
        if (result_.pictureIsGiven != 0) return {};
        SharedPicture& taken = result_.picture;
        const Piece pixels = reserve(taken.pixels, packedBytes(picture->width, picture->height));
        packPicture(*picture, made_.at(pixels));
        taken = {picture->width, picture->height, pixels};
        return {};
    }

    /// Whether the processor returned the frame's own picture, as one does that only changes
    /// parameters.
    bool isGiven(const tyksim_picture& picture) const {
        const tyksim_picture* const given = frame_.picture;
        return given && picture.pixels == given->pixels && picture.width == given->width &&
               picture.height == given->height &&
               (picture.stride == 0 || picture.stride == given->stride);
    }

    Status takeValue(uint32_t tag, const void* data, size_t size) {
        if (Status status = checkValue(frame_, tag, size); !status.ok()) return status;
        if (!data && size > 0) {
            return tyktags::flaw(
                "", "", fmt::format("returned a null pointer as the value of tag {}", tag));
        }
        auto value = std::find_if(values_.begin(), values_.end(),
                                  [tag](const SharedValue& known) { return known.tag == tag; });
        if (value == values_.end()) value = values_.insert(value, SharedValue{tag, 0, {}});
        value->data = reserve(value->data, size);
        if (size > 0) std::memcpy(made_.at(value->data), data, size);
        return {};
    }

    /// A piece for `bytes` bytes in place of `before`; the same piece if they fit.
    Piece reserve(const Piece& before, uint64_t bytes) {
        return bytes <= before.bytes ? Piece{before.at, bytes} : made_.add(bytes);
    }

    const tyksim_frame& frame_;
    SharedMemory& made_;
    tyksim_output output_{};
    Piece head_{};
    FrameMade result_{};
    std::vector<SharedValue> values_;
    std::string error_;
};

/// Handles the requests one after the other. A Failure becomes the answer kFailed.
class Server {
public:
    Server(SharedMemory& given, SharedMemory& made) : given_(given), made_(made) {}

    void serve(const Message& request) {
        given_.refresh();
        made_.clear();
        switch (static_cast<MessageKind>(request.kind)) {
            case MessageKind::kLoad:
                library_ = std::make_unique<Library>(texts(request.bytes).front());
                break;
            case MessageKind::kOpen:
                open(texts(request.bytes));
                break;
            case MessageKind::kFrame:
                process();
                break;
            case MessageKind::kClose:
                library_->close(state_);
                break;
            default:
                throw Failure(fmt::format("expected a request, found {}", request.kind));
        }
    }

private:
    /// The texts in `given`.
    std::vector<const char*> texts(uint64_t bytes) const {
        std::vector<const char*> words;
        const auto* const begin = reinterpret_cast<const char*>(given_.find({0, bytes}));
        for (uint64_t at = 0; at < bytes; at += std::strlen(begin + at) + 1) {
            words.push_back(begin + at);
        }
        return words;
    }

    void open(const std::vector<const char*>& options) {
        std::array<char, 512> error{};
        if (library_->open(options.data(), options.size(), &state_, error.data(), error.size()) ==
            0) {
            return;
        }
        error.back() = '\0';
        throw Failure(fmt::format("refuses to open: {}", error.data()));
    }

    void process() {
        const ArrivedFrame arrived(given_);
        FrameOutput output(arrived.frame(), made_);
        const int status = library_->process(state_, &arrived.frame(), &output.output());
        if (!output.error().empty()) throw Failure(output.error());
        if (status != 0) throw Failure(fmt::format("returned the error {}", status));
        output.finish();
    }

    SharedMemory& given_;
    SharedMemory& made_;
    std::unique_ptr<Library> library_;
    void* state_ = nullptr;
};

/// Handles a request and returns the answer. An exception of the processor is a failure of the
/// request too, except the forced unwinding of pthread_exit(), which cannot be caught for good.
Message answerTo(const Message& request, Server& server, SharedMemory& made) {
    std::string reason;
    try {
        server.serve(request);
        return {static_cast<uint32_t>(MessageKind::kDone), 0, made.used()};
    } catch (const Failure& failure) {
        reason = failure.what();
    } catch (const std::exception& error) {
        reason = fmt::format("threw an exception: {}", error.what());
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        reason = "threw an exception that is not a std::exception";
    }
    made.clear();
    made.add(reason.data(), reason.size());
    return {static_cast<uint32_t>(MessageKind::kFailed), 0, made.used()};
}

/// Receives the next request; returns false when tyksim has closed its end. A signal handler of the
/// processor may interrupt the wait. If the processor closed the socket, this waits for tyksim to
/// end the process.
bool receive(int socket, Message& request) {
    while (true) {
        const ssize_t bytes = ::recv(socket, &request, sizeof(request), 0);
        if (bytes >= 0) return bytes == sizeof(request);
        if (errno != EINTR) ::pause();
    }
}

}  // namespace

void serveProcessor(int socket, SharedMemory& given, SharedMemory& made) noexcept {
    Server server(given, made);
    Message request{};
    while (receive(socket, request)) {
        const Message answer = answerTo(request, server, made);
        // Flushes, so that the processor's output precedes tyksim's output about the frame.
        static_cast<void>(std::fflush(stdout));
        static_cast<void>(::send(socket, &answer, sizeof(answer), MSG_NOSIGNAL));
        if (request.kind == static_cast<uint32_t>(MessageKind::kClose)) break;
    }
    std::exit(0);
}

}  // namespace tyksim

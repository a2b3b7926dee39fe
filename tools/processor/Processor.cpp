#include "tools/processor/Processor.h"

#include "tools/console/Console.h"
#include "tools/processor/ProcessorProgram.h"
#include "tools/processor/ProcessorRules.h"
#include "tree/read/Escape.h"

#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

Piece addText(SharedMemory& memory, const char* given) {
    const size_t length = std::strlen(given);
    return {memory.add(given, length + 1).at, length};
}

/// The program that serves the processor; empty if tyksim's own process does.
std::vector<std::string> commandOf(const std::string& path, const std::string& python) {
    if (std::filesystem::path(path).extension() != ".py") return {};
    return pythonServer(python);
}

/// Reads the picture of a process. Returns whether it is valid.
bool readPicture(const SharedMemory& made, const FrameMade& result,
                 std::optional<ProcessedPicture>& out) {
    const SharedPicture& picture = result.picture;
    if (picture.width == 0) return true;
    const uint64_t expected = packedBytes(picture.width, picture.height);
    const uint8_t* const pixels = made.find(picture.pixels);
    out = {picture.width, picture.height, pixels};
    return pixels && expected > 0 && picture.pixels.bytes == expected;
}

/// Reads the values of a process. Returns whether they are valid.
bool readValues(const SharedMemory& made, const FrameMade& result, const tyksim_frame& frame,
                std::map<uint32_t, ProcessedValue>& out) {
    const uint8_t* const values = made.find(result.values);
    if (!values || result.values.bytes % sizeof(SharedValue) != 0) return false;
    for (uint64_t at = 0; at < result.values.bytes; at += sizeof(SharedValue)) {
        SharedValue value{};
        std::memcpy(&value, values + at, sizeof(value));
        const uint8_t* const data = made.find(value.data);
        if (!data || !checkValue(frame, value.tag, value.data.bytes).ok()) return false;
        out[value.tag] = {data, value.data.bytes};
    }
    return true;
}

}  // namespace

Processor::Processor(std::string path, const std::string& python)
    : path_(std::move(path)), process_(commandOf(path_, python)) {}

std::string Processor::ask(MessageKind request, const std::string& when) {
    try {
        return process_.ask(request, when);
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", tyktree::escaped(path_), failure.what()));
    } catch (const WrongUsage& error) {
        throw WrongUsage(
            fmt::format("{}: {}", tyktree::escaped(path_), tyktree::escaped(error.what())));
    }
}

void Processor::ask(MessageKind request, const std::vector<std::string>& texts,
                    const std::string& when) {
    SharedMemory& given = process_.given();
    std::string words;
    for (const std::string& word : texts) words += word + '\0';
    given.clear();
    given.add(words.data(), words.size());
    const std::string reason = ask(request, when);
    if (!reason.empty()) throw Failure(fmt::format("{}: {}", tyktree::escaped(path_), reason));
}

void Processor::open(const std::vector<std::string>& options, const std::string& tagTable) {
    // An absolute path, because dlopen() looks for a name without a slash among the system's
    // libraries.
    ask(MessageKind::kLoad, {std::filesystem::absolute(path_).string(), tagTable},
        "while it was loaded");
    ask(MessageKind::kOpen, options, "while it opened");
}

uint8_t* Processor::pictureRoom(uint64_t bytes) {
    SharedMemory& given = process_.given();
    given.clear();
    given.add(sizeof(FrameGiven));
    pixels_ = given.add(bytes);
    return given.at(pixels_);
}

void Processor::give(const tyksim_frame& frame) {
    SharedMemory& given = process_.given();
    FrameGiven shared{frame.request, frame.sof,      frame.camera, frame.pipe,
                      frame.task,    frame.position, {},           {}};
    if (frame.picture) {
        shared.picture = {frame.picture->width, frame.picture->height, pixels_};
    } else {
        pictureRoom(0);
    }
    std::vector<SharedParameter> parameters;
    parameters.reserve(frame.parameter_count);
    for (size_t i = 0; i < frame.parameter_count; ++i) {
        const tyksim_parameter& parameter = frame.parameters[i];
        parameters.push_back({parameter.tag, parameter.camera, parameter.pipe_type, parameter.sof,
                              static_cast<uint32_t>(parameter.is_block), 0,
                              addText(given, parameter.name),
                              given.add(parameter.data, parameter.size)});
    }
    shared.parameters = given.add(parameters.data(), parameters.size() * sizeof(SharedParameter));
    std::memcpy(given.at({0, sizeof(shared)}), &shared, sizeof(shared));
}

/// The result of the process for `frame`; none if it is invalid.
std::optional<Processed> Processor::taken(const tyksim_frame& frame) {
    const SharedMemory& made = process_.made();
    FrameMade result{};
    const uint8_t* const head = made.find({0, sizeof(result)});
    if (!head) return std::nullopt;
    std::memcpy(&result, head, sizeof(result));
    Processed processed;
    if (!readPicture(made, result, processed.picture)) return std::nullopt;
    if (!readValues(made, result, frame, processed.parameters)) return std::nullopt;
    if (result.pictureIsGiven == 0) return processed;
    if (!frame.picture) return std::nullopt;
    processed.picture = {frame.picture->width, frame.picture->height, process_.given().at(pixels_)};
    return processed;
}

Processed Processor::process(const tyksim_frame& frame) {
    const std::string when = fmt::format("at frame {} of task {}, request {}", frame.position,
                                         frame.task, frame.request);
    give(frame);
    std::string error = ask(MessageKind::kFrame, when);
    if (!error.empty()) return {std::nullopt, {}, std::move(error)};
    std::optional<Processed> result = taken(frame);
    if (result) return std::move(*result);
    process_.kill();
    throw Failure(fmt::format("{}: sent an answer that tyksim cannot read {}",
                              tyktree::escaped(path_), when));
}

std::string Processor::close() {
    process_.given().clear();
    try {
        std::string problem = process_.ask(MessageKind::kClose, "while it closed");
        return problem.empty() ? process_.awaitEnd("after it closed") : problem;
    } catch (const Failure& failure) {
        return failure.what();
    }
}

}  // namespace tyksim

// Compares the tool's verbs with ordinary tools that read or write the same files.
#include "bench/Run.h"

#include <turbojpeg.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

/// An action to measure, in a folder with a fixture.
using Action = std::function<Cost(const WorkFolder& folder)>;

/// One verb and its reference.
struct Row {
    const char* name;
    Action ours;
    Action reference;
    double goal;              ///< largest time as a multiple of the reference's
    double residentGoal = 0;  ///< MiB; 0: none
    std::vector<Cost> found = {};
    std::vector<Cost> foundReference = {};
};

/// The size of a fixture, and the number of measurements of its rows.
struct Extent {
    int frames;
    int framesOfShortRun;
    int64_t frameBytes;  ///< largest total size of a frame's files at a time
    int rounds;
};

/// Trees that several rows share, made by a shell script in an empty folder. FRAMES is the number
/// of frames; the rows write to "out".
struct Fixture {
    const char* name;
    Extent extent;
    const char* setUp;
    std::vector<Row> rows;
};

Action command(const char* text) {
    return [text](const WorkFolder& folder) { return folder.run(text); };
}

// The size of the exported pictures.
constexpr int kWidth = 4000;
constexpr int kHeight = 3000;
constexpr int kJpegQuality = 90;

using Bytes = std::vector<unsigned char>;

struct Planes {
    Bytes y;
    Bytes u;
    Bytes v;
};

Planes readPlanes(const std::string& path, size_t pixels) {
    Planes planes{Bytes(pixels), Bytes(pixels / 4), Bytes(pixels / 4)};
    Bytes chroma(pixels / 2);
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(planes.y.data()), static_cast<std::streamsize>(pixels));
    file.read(reinterpret_cast<char*>(chroma.data()), static_cast<std::streamsize>(pixels / 2));
    if (!file) throw std::runtime_error(path + ": expected an image of that size");
    for (size_t i = 0; i < pixels / 4; ++i) {
        planes.v[i] = chroma[2 * i];
        planes.u[i] = chroma[2 * i + 1];
    }
    return planes;
}

/// Reads the planes of every picture into memory and compresses them on all cores: the cost of JPEG
/// without reading and writing.
Cost bareJpeg(const WorkFolder& folder) {
    std::vector<Planes> images;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(folder.path() + "/pictures")) {
        if (entry.path().extension() != ".yuv") continue;
        images.push_back(readPlanes(entry.path(), size_t{kWidth} * kHeight));
    }
    std::atomic<size_t> next{0};
    std::atomic<size_t> done{0};
    const auto compress = [&] {
        void* const compressor = tjInitCompress();
        Bytes room(tjBufSize(kWidth, kHeight, TJSAMP_420));
        for (size_t i = next++; i < images.size(); i = next++) {
            const unsigned char* planes[] = {images[i].y.data(), images[i].u.data(),
                                             images[i].v.data()};
            unsigned char* out = room.data();
            unsigned long size = room.size();
            done +=
                tjCompressFromYUVPlanes(compressor, planes, kWidth, nullptr, kHeight, TJSAMP_420,
                                        &out, &size, kJpegQuality, TJFLAG_NOREALLOC) == 0;
        }
        tjDestroy(compressor);
    };
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads(std::max(1U, std::thread::hardware_concurrency()));
    for (std::thread& thread : threads) thread = std::thread(compress);
    for (std::thread& thread : threads) thread.join();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    if (done == 0 || done != images.size()) throw std::runtime_error("not all was compressed");
    return {passed.count()};
}

// Frames with 64 parameters, including the scene record.
constexpr const char* kManyFrames = R"sh(
    {
        echo '<tags><tag id="2118" name="KELV_TAG_ISCENE_INFO" size="8512" kind="fixed"/>'
        for i in $(seq 63); do
            echo "<tag id=\"$((8300 + i))\" name=\"BENCH_$i\" size=\"24\" kind=\"fixed\">"
            echo '<field name="values" offset="0" type="u32" count="6"/></tag>'
        done
        echo '</tags>'
    } >tags.xml
    tyksim record many --tags tags.xml --frames $FRAMES --size 2x2
    find many -name iSceneInfo.xml -print0 >scenes)sh";

// Two trees in which the same request has different pictures.
constexpr const char* kLongTask = R"sh(
    tyksim record sheet --frames $FRAMES --size 1920x1080
    tyksim record other --frames $FRAMES --first-request 2 --size 1920x1080
    find sheet -type f -print0 >files
    find other -type f -print0 | cat files - >both)sh";

// Two equal trees, one whose pictures are those of the next frame, and the bytes of each tree in
// one file, the minimum that the references have to read.
constexpr const char* kBursts = R"sh(
    ffmpeg -loglevel error -f lavfi -i testsrc2=size=1920x1080 -frames:v 1 photo.jpg
    tyksim record a --frames $FRAMES --size 1920x1080
    cp -r a b
    tyksim record c --frames $((FRAMES + 1)) --size 1920x1080
    rm -r $(find c -name '*_reqID_1_sofID_1')
    for tree in a b; do find $tree -type f | sort | xargs cat >$tree.all; done
    for tree in a c; do find $tree -name '*.yuv' | sort | xargs cat >$tree.yuv; done)sh";

constexpr const char* kPictures = R"sh(
    tyksim record pictures --frames $FRAMES --size 4000x3000
    find pictures -name '*.yuv' | sort | xargs cat >all.yuv)sh";

std::vector<Fixture> allFixtures() {
    const Action list = command("find many -printf '%s\\n'");
    const Action exportJpeg = command("tyksim export pictures -o out --quality 90");
    return {
        {"many",
         {10000, 100, 400000, 5},
         kManyFrames,
         {{"info", command("tyksim info many"), list, 1.5, 64},
          {"check", command("tyksim check many"), list, 2.0, 64},
          {"track of 4 scene fields", command("tyksim track many total_gain exp_time cur_ev sx"),
           command("xargs -0 cat <scenes"), 2.0}}},
        {"sheet",
         {1000, 10, 7200000, 3},
         kLongTask,
         {{"sheet", command("tyksim sheet sheet -o out"), command("xargs -0 cat <files"), 1.2, 256},
          {"sheet --against", command("tyksim sheet sheet -o out --against other"),
           command("xargs -0 cat <both"), 2.5, 256}}},
        {"burst",
         {50, 5, 30000000, 7},
         kBursts,
         {{"diff of equal tasks", command("tyksim diff a b"), command("cmp a.all b.all"), 1 / 0.7},
          {"diff of other pictures", command("tyksim diff a c --match order || [ $? = 3 ]"),
           command("raw='-f rawvideo -pixel_format nv21 -video_size 1920x1080'\n"
                   "ffmpeg -loglevel error $raw -i a.yuv $raw -i c.yuv -lavfi psnr -f null -"),
           1.0},
          {"copy", command("tyksim copy a -o out"), command("cp -r --reflink=auto a out"), 1.1},
          {"replay --with", command("tyksim replay a --with $PROCESSOR -o out"),
           command("tyksim replay a; tyksim record out photo.jpg --frames $FRAMES"), 1.15}}},
        {"pictures",
         {24, 2, 45000000, 5},
         kPictures,
         {{"track of 3 measures",
           command("tyksim track pictures image.mean image.sharpness image.noise"),
           command("cat all.yuv"), 1.5},
          {"export of JPEG, bare", exportJpeg, bareJpeg, 1 / 0.9},
          {"export of JPEG, ffmpeg", exportJpeg,
           command("mkdir out\n"
                   "ffmpeg -loglevel error -f rawvideo -pixel_format nv21 -video_size 4000x3000 "
                   "-i all.yuv -q:v 2 out/%d.jpg"),
           1.0}}},
    };
}

/// Makes the fixture and measures its rows in turn, once per iteration of `state`, each round
/// beginning with the other side.
void measure(benchmark::State& state, const Run& run, Fixture& fixture) {
    const Extent& extent = fixture.extent;
    const int frames = run.isShort ? extent.framesOfShortRun : extent.frames;
    const WorkFolder folder(run.folder.path(), frames * extent.frameBytes);
    ::setenv("FRAMES", std::to_string(frames).c_str(), 1);
    folder.run(std::string("exec 2>/dev/null\n") + fixture.setUp);
    bool oursFirst = false;
    for ([[maybe_unused]] const auto& iteration : state) {
        oursFirst = !oursFirst;
        for (Row& row : fixture.rows) {
            for (const bool isOurs : {oursFirst, !oursFirst}) {
                folder.run("rm -rf out");
                const Cost cost = (isOurs ? row.ours : row.reference)(folder);
                (isOurs ? row.found : row.foundReference).push_back(cost);
            }
        }
        state.SetIterationTime(fixture.rows.back().found.back().seconds);
    }
}

double least(const std::vector<Cost>& costs, double Cost::*what) {
    const auto isLess = [what](const Cost& a, const Cost& b) { return a.*what < b.*what; };
    return (*std::min_element(costs.begin(), costs.end(), isLess)).*what;
}

double ratio(const Row& row, double Cost::*what) {
    return least(row.found, what) / least(row.foundReference, what);
}

void report(Run& run, const Row& row) {
    double resident = 0;
    for (const Cost& cost : row.found) resident = std::max(resident, cost.residentMiB);
    const double passed = ratio(row, &Cost::seconds);
    const bool isKnown = row.foundReference.front().processor > 0;
    fmt::print("| {} | {:.2f} | {:.2f} | {} | {:.3f} | {:.3f} | {:.0f} |\n", row.name, row.goal,
               passed, isKnown ? fmt::format("{:.2f}", ratio(row, &Cost::processor)) : "",
               least(row.found, &Cost::seconds), least(row.foundReference, &Cost::seconds),
               resident);
    if (run.isShort) {
        run.check(true, fmt::format("{}: ran (a short run is too small to compare)", row.name));
        return;
    }
    run.check(passed <= row.goal,
              fmt::format("{}: ratio {:.2f}, goal {:.2f}", row.name, passed, row.goal));
    if (row.residentGoal == 0) return;
    run.check(resident <= row.residentGoal,
              fmt::format("{}: {:.0f} MiB, goal {:.0f}", row.name, resident, row.residentGoal));
}

}  // namespace

void addTool(Run& run) {
    const char* const path = ::getenv("PATH");
    ::setenv("PATH", fmt::format("{}:{}", TYKBENCH_TOOL_FOLDER, path ? path : "").c_str(), 1);
    ::setenv("PROCESSOR", TYKBENCH_PROCESSOR, 1);
    const auto fixtures = std::make_shared<std::vector<Fixture>>(allFixtures());
    for (Fixture& fixture : *fixtures) {
        run.add(std::string("tool/") + fixture.name, run.isShort ? 1 : fixture.extent.rounds,
                [&run, &fixture](benchmark::State& state) { measure(state, run, fixture); });
    }
    run.conclude([&run, fixtures] {
        fmt::print(
            "\nThe tool's verbs beside other tools on the same files (least of rounds; time that "
            "passed, and seconds of all cores)\n\n"
            "| verb | goal | ratio | of processor time | s | reference s | MiB |\n"
            "| --- | --- | --- | --- | --- | --- | --- |\n");
        for (const Fixture& fixture : *fixtures) {
            for (const Row& row : fixture.rows) {
                if (!row.found.empty() && !row.foundReference.empty()) report(run, row);
            }
        }
    });
}

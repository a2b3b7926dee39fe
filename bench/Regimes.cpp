// The four regimes against the floor, and against what a person would use instead.
#include "bench/Chapter.h"
#include "bench/Pairs.h"

#include <cstdio>

namespace {

struct Measured {
    PairResult dump;
    PairResult replay;
    OtherToolsResult others;
};

/// How far beyond its goal a ratio is a sign of decay and not of a busy machine.
constexpr double kFarOff = 2;

class Regimes : public Chapter {
public:
    using Chapter::Chapter;

    void registerAll() override {
        forEach([this](const Regime& regime, Measured& at) {
            addPairs(regime, "/dump", Direction::kDump, at.dump);
            addPairs(regime, "/replay", Direction::kReplay, at.replay);
        });
        forEach([this](const Regime& regime, Measured& at) {
            add(std::string("others/") + regime.name, [this, &regime, &at](auto& state) {
                at.others = measureOtherTools(state, run_.folder, regime.shape);
            })->Iterations(run_.isShort ? 1 : 9);
        });
    }

    void report() override {
        std::printf(
            "\nThe library's time as a multiple of the bare system calls' (median of rounds, "
            "quartiles in brackets)\n\n"
            "| regime | goal dump / replay | dump | replay | dump MB/s | replay MB/s |\n"
            "| --- | --- | --- | --- | --- | --- |\n");
        forEach([](const Regime& regime, const Measured& at) {
            if (at.dump.rounds + at.replay.rounds == 0) return;
            std::printf("| %s | %.2f / %.2f |", regime.name, regime.dumpGoal, regime.replayGoal);
            for (const PairResult* const result : {&at.dump, &at.replay}) {
                std::printf(" %.3f (%.3f - %.3f) |", result->ratio, result->lowerQuartile,
                            result->upperQuartile);
            }
            std::printf(" %.0f | %.0f |\n", megabytesPerSecond(regime, at.dump),
                        megabytesPerSecond(regime, at.replay));
        });
        std::printf(
            "\nMilliseconds per frame beside a copy and an archive of the same frames "
            "(processes, %d frames each)\n\n"
            "| regime | library dump | library replay | cp -r | tar -cf | tar -xf |\n"
            "| --- | --- | --- | --- | --- | --- |\n",
            kOtherToolsFrames);
        forEach([](const Regime& regime, const Measured& at) {
            if (at.others.copySeconds <= 0) return;
            std::printf("| %s | %.2f | %.2f | %.2f | %.2f | %.2f |\n", regime.name,
                        at.dump.seconds * 1e3, at.replay.seconds * 1e3, at.others.copySeconds * 1e3,
                        at.others.packSeconds * 1e3, at.others.unpackSeconds * 1e3);
        });
        forEach([this](const Regime& regime, const Measured& at) {
            checkRatio(regime, "dump", regime.dumpGoal, at.dump);
            checkRatio(regime, "replay", regime.replayGoal, at.replay);
        });
    }

private:
    template <typename Visit>
    void forEach(Visit visit) {
        for (size_t i = 0; i < kRegimes.size(); ++i) visit(kRegimes[i], measured_[i]);
    }

    void addPairs(const Regime& regime, const char* suffix, Direction direction,
                  PairResult& result) {
        add(std::string("regime/") + regime.name + suffix, [=, &regime, &result](auto& state) {
            result = measurePairs(state, run_.folder, regime.shape, direction);
        })->Iterations(run_.isShort ? regime.rounds / 8 : regime.rounds);
    }

    static double megabytesPerSecond(const Regime& regime, const PairResult& result) {
        const Shape& shape = regime.shape;
        const double bytes = static_cast<double>(shape.fixedCount) * shape.fixedBytes +
                             static_cast<double>(shape.blockCount) * shape.blockBytes +
                             static_cast<double>(shape.width) * shape.height * 1.5;
        return result.rounds == 0 ? 0 : bytes / result.seconds / 1e6;
    }

    void checkRatio(const Regime& regime, const char* what, double goal, const PairResult& result) {
        if (result.rounds == 0) return;
        char text[128];
        std::snprintf(text, sizeof(text), "%s %s: ratio %.3f, goal %.2f%s", regime.name, what,
                      result.ratio, goal, result.ratio <= goal ? " met" : " missed");
        run_.check(result.ratio <= kFarOff * goal, text);
    }

    std::array<Measured, kRegimes.size()> measured_;
};

}  // namespace

std::unique_ptr<Chapter> makeRegimes(Run& run) {
    return std::make_unique<Regimes>(run);
}

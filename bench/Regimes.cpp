// Compares the four regimes with both floors.
#include "bench/Run.h"
#include "bench/Sides.h"

#include <fmt/format.h>
#include <memory>

namespace {

/// In a short run, a ratio above this multiple of its goal is a regression and not the effect of a
/// busy machine.
constexpr double kFarOff = 2;

struct Measured {
    const Regime& regime;
    Direction direction;
    double goal;
    Comparison found;

    std::string name() const {
        return regime.name + std::string(direction == Direction::kDump ? " dump" : " replay");
    }
};

/// A full run misses a goal if three of four rounds miss it.
void report(Run& run, const Measured& at) {
    const std::vector<double>& ratios = at.found.toFullPath;
    const double median = quantile(ratios, 0.5);
    fmt::print(
        "| {} | {:.2f} | {:.3f} ({:.3f} - {:.3f}) | {:.3f} | {:.0f} |\n", at.name(), at.goal,
        median, quantile(ratios, 0.25), quantile(ratios, 0.75), quantile(at.found.toByName, 0.5),
        static_cast<double>(at.regime.shape.bytes()) / quantile(at.found.seconds, 0.5) / 1e6);
    run.check(run.isShort ? median <= kFarOff * at.goal : quantile(ratios, 0.25) <= at.goal,
              fmt::format("{}: ratio {:.3f}, goal {:.2f}{}", at.name(), median, at.goal,
                          run.isShort ? " (a short run allows twice that)" : ""));
}

}  // namespace

void addRegimes(Run& run) {
    const auto all = std::make_shared<std::vector<Measured>>();
    for (const Regime& regime : kRegimes) {
        all->push_back({regime, Direction::kDump, regime.dumpGoal, {}});
        all->push_back({regime, Direction::kReplay, regime.replayGoal, {}});
    }
    for (Measured& at : *all) {
        const int rounds = run.isShort ? at.regime.rounds / 8 : at.regime.rounds;
        run.add("regime/" + at.name(), rounds, [&run, &at](benchmark::State& state) {
            at.found = compareSides(state, run.folder, at.regime.shape, at.direction);
        });
    }
    run.conclude([&run, all] {
        fmt::print(
            "\nThe library's time as a multiple of the bare system calls' (median of rounds, "
            "quartiles in brackets)\n\n"
            "| regime | goal | to full paths | to names in a folder | MB/s |\n"
            "| --- | --- | --- | --- | --- |\n");
        for (const Measured& at : *all) {
            if (!at.found.seconds.empty()) report(run, at);
        }
    });
}

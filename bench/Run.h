// One run of the benchmark, and its chapters.
#pragma once

#include "bench/WorkFolder.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

/// Collects the measurements of the chapters, runs them, and counts their checks.
class Run {
public:
    /// Makes its own folder in `parent`. Errors: std::runtime_error.
    Run(const std::string& parent, bool shortened) : folder(parent), isShort(shortened) {}

    const WorkFolder folder;
    const bool isShort;

    /// Registers a measurement of `rounds` iterations, which times itself. An exception from it is
    /// printed and fails the run.
    void add(const std::string& name, int rounds, std::function<void(benchmark::State&)> measure);

    /// Registers a report, which prints and checks results after all measurements.
    void conclude(std::function<void()> report) { reports_.push_back(std::move(report)); }

    /// Counts one check, which is printed at the end.
    void check(bool holds, const std::string& what);

    /// Measures and reports. Returns whether there was a check and all succeeded.
    bool execute();

private:
    std::vector<std::function<void()>> reports_;
    std::vector<std::string> passed_;
    std::vector<std::string> failed_;
};

void addRegimes(Run& run);
void addGrowth(Run& run);
void addMemory(Run& run);
void addTool(Run& run);

/// The value below which `fraction` of `values` lie; 0 for none.
double quantile(std::vector<double> values, double fraction);

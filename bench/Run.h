// One run of the benchmark, and its chapters.
#pragma once

#include "bench/WorkFolder.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

/// Collects what the chapters measure, runs it, and counts what holds and what does not.
class Run {
public:
    /// Works in a folder of its own in `parent`. Errors: std::runtime_error.
    Run(const std::string& parent, bool shortened) : folder(parent), isShort(shortened) {}

    const WorkFolder folder;
    const bool isShort;

    /// Registers a measurement of `rounds` iterations, which times itself. What it throws is
    /// printed and fails the run.
    void add(const std::string& name, int rounds, std::function<void(benchmark::State&)> measure);

    /// Registers what is printed, and checked, when all is measured.
    void conclude(std::function<void()> report) { reports_.push_back(std::move(report)); }

    /// Counts one check, which is printed in the end.
    void check(bool holds, const std::string& what);

    /// Measures and reports; whether every check held, and there was one.
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

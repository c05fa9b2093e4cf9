// A simulated fingerprint HAL session: runs a scenario's events against the library on the
// host stand-ins, as the HAL would call it, and keeps what happened for the outputs.
//
// The session plays the HAL: it owns the history containers, the start-up record, the finger
// state and the display controller, reaches the process-wide objects through GetInstance(),
// and plays the device around it (touch device records, the display service, the device
// tree, properties). A restart destroys what the HAL owns and builds it again, so the
// histories load from the files the previous run wrote; the process-wide objects live on in
// this process, and the session puts their state back to what a new HAL process would see.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/fputil/backup_report.h"
#include "tools/fputil/scenario.h"

namespace fputil {

struct TimelineEntry {
    int64_t time_ms = 0;
    int line = 0;                      // of the scenario
    std::string event;                 // as written
    std::vector<std::string> outcome;  // what the library answered and decided
    std::vector<std::string> log;      // what the library logged meanwhile ("I/Tag: text")
};

// One value of a series drawn in the picture.
struct Sample {
    int64_t time_ms;
    double value;
    std::string label;
};

struct DumpSection {
    std::string name;  // the class whose Dump wrote it
    std::string text;
};

struct SimResult {
    std::vector<TimelineEntry> timeline;
    std::vector<DumpSection> dumps;   // at the end of the session
    std::vector<FileReport> backups;  // the backup files under the root, as inspect reads them
    std::string root;                 // the device tree on this machine
    int lhbm_failures = 0;            // switches that did not return 0

    // For the picture.
    int64_t start_ms = 0;
    int64_t end_ms = 0;
    std::vector<Sample> exposure;  // ms, at start and at every step
    std::vector<Sample> auth;      // 1 match, 0 rejected, -1 acquisition problem
    std::vector<Sample> lhbm;      // 1 on, 0 off, at each successful switch
    std::vector<Sample> light;     // lux
    std::vector<Sample> severity;  // thermal throttling severity, 0..6
    std::vector<Sample> marks;     // restarts, display deaths, critical errors
};

// Runs `scenario` on the device tree `root` (a directory on this machine; empty: a fresh
// temporary tree, removed afterwards). Returns false with `error` set when the session cannot
// be set up at all; what the library does with bad input is part of the result.
bool RunSession(const Scenario& scenario, const std::string& root, SimResult* result,
                std::string* error);

}  // namespace fputil

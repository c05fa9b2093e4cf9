// The scenario language of `fputil sim`: what happens to a simulated fingerprint HAL, one
// event per line.
//
//   # a comment runs to the end of the line
//   day 2025-10-12                        the date of the times that follow (UTC)
//   07:00 prop NAME VALUE                 a system property      } set-up: only before
//   07:00 devtree ITEM VALUE              a device-tree item     } the first "start"
//   07:00 sensor circle X Y R             the sensor area (also "sensor rect L T R B")
//   07:00:00.250 lhbm on                  time HH:MM, HH:MM:SS or HH:MM:SS.mmm, then the event
//
// An event is its verb, then words, numbers, key=value fields and one "quoted text", as the
// verb's entry in kVerbs allows. Times never go backwards. Every problem is found before
// anything runs and reported as "FILE:LINE: reason".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fputil {

struct ScenarioEvent {
    int line = 0;
    int64_t time_ms = 0;                   // milliseconds since the epoch, UTC
    std::string verb;                      // "finger-down", "auth", ...
    std::string word;                      // the verb's chosen word ("on", "match", "slow", ...)
    std::string name;                      // a free name ("prop" NAME, "state" NAME)
    std::vector<double> numbers;           // positional numbers, in order
    std::map<std::string, double> fields;  // key=value numbers
    std::vector<std::string> flags;        // bare flag words ("lptw", "failed")
    std::string text;                      // the quoted text, or a property's value
    std::string source;                    // the line as written, comment and time removed

    double Field(const std::string& key, double fallback) const {
        auto it = fields.find(key);
        return it == fields.end() ? fallback : it->second;
    }
    bool HasFlag(const std::string& flag) const;
};

struct Scenario {
    std::string file;
    std::vector<ScenarioEvent> events;
};

// Parses `text`, read from `file`. False with `error` = "FILE:LINE: reason" on the first
// problem.
bool ParseScenario(const std::string& file, const std::string& text, Scenario* scenario,
                   std::string* error);

// The HAL state names a scenario may use ("finger_down_1", "finger_down_2", "mark"); any other
// state is written as a number. Returns false for an unknown name.
bool StateCode(const std::string& name, uint32_t* code);

// "HH:MM:SS.mmm" of a time of day in milliseconds since the epoch.
std::string ClockText(int64_t time_ms);

}  // namespace fputil

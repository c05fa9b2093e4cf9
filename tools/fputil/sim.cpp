// fputil sim: runs a scenario against the library on the host stand-ins and shows what the
// library did, as a timeline, a JSON document or a picture.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "tools/fputil/commands.h"
#include "tools/fputil/json.h"
#include "tools/fputil/scenario.h"
#include "tools/fputil/sim_session.h"
#include "tools/fputil/sim_svg.h"

namespace fputil {

const char kSimUsage[] = "sim [--root DIR] [--json] [--svg FILE] SCENARIO";

namespace {

struct SimArgs {
    std::string root;
    bool json = false;
    std::string svg;
    std::string scenario;
};

// The session in a few lines: what a reader checks first.
std::vector<std::string> Summary(const SimResult& r) {
    std::vector<std::string> out;
    char line[256];
    snprintf(line, sizeof(line), "%zu events from %s to %s", r.timeline.size(),
             ClockText(r.start_ms).c_str(), ClockText(r.end_ms).c_str());
    out.push_back(line);
    int matched = 0, rejected = 0, other = 0;
    for (const Sample& s : r.auth) (s.value > 0 ? matched : s.value == 0 ? rejected : other)++;
    snprintf(line, sizeof(line),
             "authentication: %zu attempts, %d matched, %d rejected, %d acquisition problems",
             r.auth.size(), matched, rejected, other);
    out.push_back(line);
    std::string expo = "exposure:";
    for (const Sample& s : r.exposure) {
        snprintf(line, sizeof(line), " %s %.3f ms (%s)", ClockText(s.time_ms).c_str(), s.value,
                 s.label.c_str());
        expo += line;
    }
    out.push_back(r.exposure.empty() ? "exposure: never calibrated" : expo);
    snprintf(line, sizeof(line), "LHBM: %zu switches, %d failed", r.lhbm.size(), r.lhbm_failures);
    out.push_back(line);
    double light_lo = 0, light_hi = 0, severity = 0;
    for (size_t i = 0; i < r.light.size(); ++i) {
        light_lo = i ? std::min(light_lo, r.light[i].value) : r.light[i].value;
        light_hi = std::max(light_hi, r.light[i].value);
    }
    for (const Sample& s : r.severity) severity = std::max(severity, s.value);
    snprintf(line, sizeof(line),
             "light: %zu readings, %.1f to %.1f lux; highest thermal severity %d", r.light.size(),
             light_lo, light_hi, static_cast<int>(severity));
    out.push_back(line);
    std::string marks = "marks:";
    for (const Sample& m : r.marks)
        marks += " " + ClockText(m.time_ms).substr(0, 8) + " " + m.label + ";";
    out.push_back(marks);
    return out;
}

void PrintText(const SimResult& r) {
    printf("timeline:\n");
    for (const TimelineEntry& e : r.timeline) {
        printf("%s  %s\n", ClockText(e.time_ms).c_str(), e.event.c_str());
        for (const std::string& line : e.outcome) printf("    %s\n", line.c_str());
        for (const std::string& line : e.log) printf("    | %s\n", line.c_str());
    }
    printf("\ndump at the end:\n");
    for (const DumpSection& d : r.dumps) printf("%s", d.text.c_str());
    printf("\nbackup files:\n");
    for (const FileReport& f : r.backups) PrintFileReport(f);
    printf("\nsummary:\n");
    for (const std::string& line : Summary(r)) printf("  %s\n", line.c_str());
}

std::string JsonSamples(const std::vector<Sample>& samples) {
    std::string out = "[";
    for (size_t i = 0; i < samples.size(); ++i) {
        char value[64];
        snprintf(value, sizeof(value), "%.3f", samples[i].value);
        out += std::string(i ? ", " : "") +
               "{\"time\": " + JsonString(ClockText(samples[i].time_ms)) + ", \"value\": " + value +
               ", \"label\": " + JsonString(samples[i].label) + "}";
    }
    return out + "]";
}

void PrintJson(const std::string& scenario, const SimResult& r) {
    printf("{\"scenario\": %s,\n \"timeline\": [", JsonString(scenario).c_str());
    for (size_t i = 0; i < r.timeline.size(); ++i) {
        const TimelineEntry& e = r.timeline[i];
        printf("%s\n  {\"time\": %s, \"line\": %d, \"event\": %s, \"outcome\": %s, \"log\": %s}",
               i ? "," : "", JsonString(ClockText(e.time_ms)).c_str(), e.line,
               JsonString(e.event).c_str(), JsonStrings(e.outcome).c_str(),
               JsonStrings(e.log).c_str());
    }
    printf("],\n \"dumps\": {");
    for (size_t i = 0; i < r.dumps.size(); ++i) {
        printf("%s\n  %s: %s", i ? "," : "", JsonString(r.dumps[i].name).c_str(),
               JsonString(r.dumps[i].text).c_str());
    }
    printf("},\n \"backup_files\": [");
    for (size_t i = 0; i < r.backups.size(); ++i) {
        printf("%s\n  %s", i ? "," : "", FileReportJson(r.backups[i]).c_str());
    }
    printf("],\n \"summary\": %s", JsonStrings(Summary(r)).c_str());
    printf(
        ",\n \"series\": {\"exposure\": %s, \"auth\": %s, \"lhbm\": %s, \"light\": %s, "
        "\"severity\": %s, \"marks\": %s}}\n",
        JsonSamples(r.exposure).c_str(), JsonSamples(r.auth).c_str(), JsonSamples(r.lhbm).c_str(),
        JsonSamples(r.light).c_str(), JsonSamples(r.severity).c_str(), JsonSamples(r.marks).c_str());
}

const char kHelp[] =
    "  --root DIR   run on this device tree (one pulled from a device, say): the HAL starts\n"
    "               from its histories, and the files it writes stay there\n"
    "               (default: a fresh temporary tree)\n"
    "  --json       the timeline, the dumps and the backup files as one JSON document\n"
    "  --svg FILE   also draw the session as a timeline picture into FILE\n"
    "The scenario language is described in the README (fputil sim).\n";

}  // namespace

int RunSim(int argc, char** argv) {
    SimArgs args;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            printf("usage: fputil %s\n%s", kSimUsage, kHelp);
            return kExitOk;
        } else if (a == "--json") {
            args.json = true;
        } else if (a == "--root" || a == "--svg") {
            if (i + 1 >= argc) return UsageError("sim", (a + " needs a value").c_str());
            (a == "--root" ? args.root : args.svg) = argv[++i];
        } else if (a.size() > 1 && a[0] == '-') {
            return UsageError("sim", ("unknown option " + a).c_str());
        } else if (args.scenario.empty()) {
            args.scenario = a;
        } else {
            return UsageError("sim", "one scenario only");
        }
    }
    if (args.scenario.empty()) return UsageError("sim", "no scenario given");

    std::ifstream in(args.scenario);
    if (!in) {
        fprintf(stderr, "fputil sim: cannot read %s\n", args.scenario.c_str());
        return kExitUsage;
    }
    std::stringstream text;
    text << in.rdbuf();
    Scenario scenario;
    std::string error;
    if (!ParseScenario(args.scenario, text.str(), &scenario, &error)) {
        fprintf(stderr, "%s\n", error.c_str());
        return kExitUsage;
    }

    SimResult result;
    if (!RunSession(scenario, args.root, &result, &error)) {
        fprintf(stderr, "fputil sim: %s\n", error.c_str());
        return kExitFinding;
    }
    if (args.json) {
        PrintJson(args.scenario, result);
    } else {
        PrintText(result);
    }
    if (!args.svg.empty()) {
        std::ofstream out(args.svg);
        const size_t slash = args.scenario.rfind('/');
        out << SessionSvg(
            result, slash == std::string::npos ? args.scenario : args.scenario.substr(slash + 1));
        if (!out) {
            fprintf(stderr, "fputil sim: cannot write %s\n", args.svg.c_str());
            return kExitFinding;
        }
    }
    return kExitOk;
}

}  // namespace fputil

#include "tools/fputil/scenario.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "text/text.h"

namespace fputil {
namespace {

struct WordSpec {
    const char* word;
    int numbers;  // positional numbers that go with this word
};

// What each verb takes. The scenario's whole grammar is this table.
struct VerbSpec {
    const char* verb;
    bool setup_only;              // only before the first "start"
    std::vector<WordSpec> words;  // when not empty, exactly one of these words is required
    int numbers;                  // positional numbers without a word (or added to its own)
    std::vector<const char*> keys;
    std::vector<const char*> flags;
    bool needs_text;
    bool needs_state;  // a HAL state: a name of StateCode or a number
};

const std::vector<VerbSpec>& Verbs() {
    static const std::vector<VerbSpec> verbs = {
        {"devtree",
         true,
         {{"platform", 1}, {"product", 1}, {"stage", 1}, {"major", 1}, {"minor", 1}, {"variant", 1}},
         0,
         {},
         {},
         false,
         false},
        {"sensor", true, {{"circle", 3}, {"rect", 4}}, 0, {}, {}, false, false},
        {"thermal-service", true, {{"aidl", 0}, {"hidl", 0}, {"none", 0}}, 0, {}, {}, false, false},
        {"display",
         false,
         {{"slow", 1}, {"fail", 1}, {"die", 0}, {"back", 0}, {"missing", 0}},
         0,
         {},
         {},
         false,
         false},
        {"start", false, {}, 0, {"auth-limit", "finger-limit"}, {}, false, false},
        {"init-error", false, {}, 0, {}, {}, true, false},
        {"ready", false, {}, 0, {}, {}, false, false},
        {"calibrate", false, {}, 2, {}, {}, false, false},
        {"finger-down", false, {}, 5, {}, {"lptw"}, false, false},
        {"finger-up", false, {}, 0, {}, {}, false, false},
        {"state", false, {}, 0, {}, {}, false, true},
        {"wait", false, {}, 1, {}, {}, false, true},
        {"lhbm", false, {{"on", 0}, {"off", 0}}, 0, {}, {}, false, false},
        {"auth",
         false,
         {{"match", 0}, {"reject", 0}, {"partial", 0}, {"error", 0}},
         0,
         {"fid", "iq", "latency", "rawmean", "cov", "dist", "score", "rc", "lptw", "code", "m1",
          "m2", "m3", "m4", "foreign"},
         {},
         false,
         false},
        {"enroll",
         false,
         {{"add", 0}, {"del", 0}},
         0,
         {"gid", "fid", "captures", "iq", "fingers", "rc", "rawmean"},
         {"failed"},
         false,
         false},
        {"finger-size", false, {}, 2, {"op"}, {}, false, false},
        {"light", false, {}, 1, {}, {}, false, false},
        {"long-press", false, {}, 0, {}, {}, false, false},
        {"thermal",
         false,
         {{"none", 1},
          {"light", 1},
          {"moderate", 1},
          {"severe", 1},
          {"critical", 1},
          {"emergency", 1},
          {"shutdown", 1}},
         0,
         {},
         {},
         false,
         false},
        {"error", false, {}, 0, {}, {}, true, false},
        {"dump", false, {}, 0, {}, {}, false, false},
        {"restart", false, {}, 0, {}, {}, false, false},
    };
    return verbs;
}

const VerbSpec* FindVerb(const std::string& verb) {
    for (const VerbSpec& v : Verbs()) {
        if (verb == v.verb) return &v;
    }
    return nullptr;
}

// A number as a person writes one: decimal or 0x hexadecimal, optionally with a unit
// ("250ms", "2s" for 2000, "85%", "1.2mm"). False when `token` is no number.
bool ParseValue(const std::string& token, double* value) {
    if (token.empty()) return false;
    std::string digits = token;
    double scale = 1;
    static const struct {
        const char* unit;
        double scale;
    } kUnits[] = {{"ms", 1}, {"mm", 1}, {"s", 1000}, {"%", 1}};
    for (const auto& u : kUnits) {
        const size_t n = strlen(u.unit);
        if (digits.size() > n && digits.compare(digits.size() - n, n, u.unit) == 0) {
            digits.resize(digits.size() - n);
            scale = u.scale;
            break;
        }
    }
    const char* begin = digits.c_str();
    char* end = nullptr;
    errno = 0;
    const bool hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    double v = hex ? static_cast<double>(strtoull(begin, &end, 16)) : strtod(begin, &end);
    if (end == begin || *end != '\0' || errno == ERANGE || !std::isfinite(v)) return false;
    *value = v * scale;
    return true;
}

bool LooksNumeric(const std::string& token) {
    return !token.empty() &&
           (isdigit(static_cast<unsigned char>(token[0])) ||
            ((token[0] == '-' || token[0] == '+' || token[0] == '.') && token.size() > 1));
}

// "HH:MM", "HH:MM:SS" or "HH:MM:SS.mmm" into milliseconds of the day.
bool ParseClock(const std::string& token, int64_t* ms) {
    int h = 0, m = 0, s = 0, frac = 0, used = 0;
    char fraction[8] = {};
    if (sscanf(token.c_str(), "%2d:%2d%n", &h, &m, &used) != 2) return false;
    if (static_cast<size_t>(used) < token.size()) {
        int more = 0;
        if (sscanf(token.c_str() + used, ":%2d%n", &s, &more) != 1) return false;
        used += more;
        if (static_cast<size_t>(used) < token.size()) {
            if (sscanf(token.c_str() + used, ".%3[0-9]%n", fraction, &more) != 1) return false;
            used += more;
            frac = atoi(fraction);
            for (size_t i = strlen(fraction); i < 3; ++i) frac *= 10;
        }
    }
    if (static_cast<size_t>(used) != token.size() || h > 23 || m > 59 || s > 59) return false;
    *ms = ((h * 60LL + m) * 60 + s) * 1000 + frac;
    return true;
}

// "YYYY-MM-DD" into milliseconds since the epoch at its midnight, UTC.
bool ParseDay(const std::string& token, int64_t* ms) {
    struct tm t = {};
    int used = 0;
    if (sscanf(token.c_str(), "%4d-%2d-%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday, &used) != 3 ||
        static_cast<size_t>(used) != token.size() || t.tm_mon < 1 || t.tm_mon > 12 ||
        t.tm_mday < 1 || t.tm_mday > 31 || t.tm_year < 1970) {
        return false;
    }
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    *ms = static_cast<int64_t>(timegm(&t)) * 1000;
    return true;
}

// Splits a line into tokens on white space, keeping a "quoted text" whole (quotes included)
// and dropping a comment. False with `problem` set on an unclosed quote.
bool Tokenize(const std::string& line, std::vector<std::string>* tokens, std::string* problem) {
    size_t i = 0;
    while (i < line.size()) {
        const char c = line[i];
        if (isspace(static_cast<unsigned char>(c))) {
            ++i;
        } else if (c == '#') {
            break;
        } else if (c == '"') {
            const size_t close = line.find('"', i + 1);
            if (close == std::string::npos) {
                *problem = "the quoted text is not closed";
                return false;
            }
            tokens->push_back(line.substr(i, close + 1 - i));
            i = close + 1;
        } else {
            size_t end = i;
            while (end < line.size() && !isspace(static_cast<unsigned char>(line[end])) &&
                   line[end] != '#' && line[end] != '"') {
                ++end;
            }
            tokens->push_back(line.substr(i, end - i));
            i = end;
        }
    }
    return true;
}

std::string Join(const std::vector<std::string>& tokens, size_t from) {
    std::string out;
    for (size_t i = from; i < tokens.size(); ++i) out += (out.empty() ? "" : " ") + tokens[i];
    return out;
}

bool Contains(const std::vector<const char*>& list, const std::string& item) {
    return std::any_of(list.begin(), list.end(), [&](const char* s) { return item == s; });
}

// Fills `event` from the tokens after the verb. False with `problem` set.
bool ParseArguments(const VerbSpec& spec, const std::vector<std::string>& tokens,
                    ScenarioEvent* event, std::string* problem) {
    const WordSpec* word = nullptr;
    bool have_state = false;
    for (size_t i = 2; i < tokens.size(); ++i) {
        const std::string& t = tokens[i];
        double value = 0;
        if (t[0] == '"') {
            if (!spec.needs_text || !event->text.empty()) {
                *problem = "unexpected text " + t + " for '" + spec.verb + "'";
                return false;
            }
            event->text = t.substr(1, t.size() - 2);
        } else if (spec.needs_state && !have_state) {
            uint32_t code = 0;
            if (!StateCode(t, &code)) {
                if (!ParseValue(t, &value) || value < 0 || value > UINT32_MAX) {
                    *problem = "unknown HAL state '" + t + "'";
                    return false;
                }
            }
            event->name = t;
            have_state = true;
        } else if (size_t eq = t.find('='); eq != std::string::npos) {
            const std::string key = t.substr(0, eq);
            if (!Contains(spec.keys, key)) {
                *problem = "unknown field '" + key + "' for '" + spec.verb + "'";
                return false;
            }
            if (!ParseValue(t.substr(eq + 1), &value)) {
                *problem = "bad number '" + t.substr(eq + 1) + "' for " + key;
                return false;
            }
            event->fields[key] = value;
        } else if (LooksNumeric(t)) {
            if (!ParseValue(t, &value)) {
                *problem = "bad number '" + t + "'";
                return false;
            }
            event->numbers.push_back(value);
        } else if (Contains(spec.flags, t)) {
            event->flags.push_back(t);
        } else {
            const auto it = std::find_if(spec.words.begin(), spec.words.end(),
                                         [&](const WordSpec& w) { return t == w.word; });
            if (it == spec.words.end() || word != nullptr) {
                *problem = "unexpected word '" + t + "' for '" + spec.verb + "'";
                return false;
            }
            word = &*it;
            event->word = t;
        }
    }
    if (!spec.words.empty() && word == nullptr) {
        std::string choices;
        for (const WordSpec& w : spec.words)
            choices += (choices.empty() ? "" : "|") + std::string(w.word);
        *problem = "'" + std::string(spec.verb) + "' needs one of " + choices;
        return false;
    }
    const size_t wanted = static_cast<size_t>(spec.numbers + (word ? word->numbers : 0));
    if (event->numbers.size() != wanted) {
        *problem = "'" + std::string(spec.verb) + (word ? " " + event->word : "") + "' takes " +
                   std::to_string(wanted) + " number" + (wanted == 1 ? "" : "s") + ", not " +
                   std::to_string(event->numbers.size());
        return false;
    }
    if (spec.needs_text && event->text.empty()) {
        *problem = "'" + std::string(spec.verb) + "' needs a \"quoted text\"";
        return false;
    }
    if (spec.needs_state && !have_state) {
        *problem = "'" + std::string(spec.verb) + "' needs a HAL state";
        return false;
    }
    return true;
}

}  // namespace

bool ScenarioEvent::HasFlag(const std::string& flag) const {
    return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

bool StateCode(const std::string& name, uint32_t* code) {
    static const struct {
        const char* name;
        uint32_t code;
    } kStates[] = {{"finger_down_1", 0x101}, {"finger_down_2", 0x201}, {"mark", 0x205}};
    for (const auto& s : kStates) {
        if (name == s.name) {
            *code = s.code;
            return true;
        }
    }
    return false;
}

std::string ClockText(int64_t time_ms) {
    const int64_t day_ms = ((time_ms % 86400000) + 86400000) % 86400000;
    char buf[32];
    snprintf(buf, sizeof(buf), "%02d:%02d:%02d.%03d", static_cast<int>(day_ms / 3600000),
             static_cast<int>(day_ms / 60000 % 60), static_cast<int>(day_ms / 1000 % 60),
             static_cast<int>(day_ms % 1000));
    return buf;
}

bool ParseScenario(const std::string& file, const std::string& text, Scenario* scenario,
                   std::string* error) {
    scenario->file = file;
    scenario->events.clear();
    int64_t day_ms = 0;
    ParseDay("2025-10-12", &day_ms);
    int64_t last_ms = 0;
    bool started = false;
    int line_number = 0;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        ++line_number;
        auto fail = [&](const std::string& reason) {
            *error = file + ":" + std::to_string(line_number) + ": " + reason;
            return false;
        };

        std::vector<std::string> tokens;
        std::string problem;
        if (!Tokenize(line, &tokens, &problem)) return fail(problem);
        if (tokens.empty()) continue;
        if (tokens[0] == "day") {
            int64_t ms = 0;
            if (tokens.size() != 2 || !ParseDay(tokens[1], &ms)) {
                return fail("'day' takes one date, YYYY-MM-DD");
            }
            if (ms + 86400000 <= last_ms) return fail("day " + tokens[1] + " goes backwards");
            day_ms = ms;
            continue;
        }
        int64_t clock_ms = 0;
        if (!ParseClock(tokens[0], &clock_ms)) {
            return fail("bad time '" + tokens[0] + "' (HH:MM, HH:MM:SS or HH:MM:SS.mmm)");
        }
        if (tokens.size() < 2) return fail("no event after the time");
        ScenarioEvent event;
        event.line = line_number;
        event.time_ms = day_ms + clock_ms;
        if (event.time_ms < last_ms) {
            return fail("time goes backwards (" + ClockText(event.time_ms) + " after " +
                        ClockText(last_ms) + ")");
        }
        last_ms = event.time_ms;
        event.verb = tokens[1];
        event.source = Join(tokens, 1);
        if (event.verb == "prop") {
            if (started) return fail("'prop' only before the first start");
            if (tokens.size() != 4) return fail("'prop' takes a name and a value");
            event.name = tokens[2];
            event.text = tokens[3];
            if (event.text.size() >= 2 && event.text[0] == '"') {
                event.text = event.text.substr(1, event.text.size() - 2);
            }
            scenario->events.push_back(event);
            continue;
        }
        const VerbSpec* spec = FindVerb(event.verb);
        if (spec == nullptr) return fail("unknown event '" + event.verb + "'");
        if (spec->setup_only && started) {
            return fail("'" + event.verb + "' only before the first start");
        }
        if (!ParseArguments(*spec, tokens, &event, &problem)) return fail(problem);
        if (event.verb == "start") {
            if (started) return fail("the HAL is already started (use restart)");
            started = true;
        } else if (!started && !spec->setup_only && event.verb != "display") {
            return fail("'" + event.verb + "' before the HAL's start");
        }
        scenario->events.push_back(event);
    }
    if (!started) {
        *error = file + ": no 'start': the HAL never runs";
        return false;
    }
    return true;
}

}  // namespace fputil

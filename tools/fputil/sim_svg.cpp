#include "tools/fputil/sim_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

#include "tools/fputil/scenario.h"

namespace fputil {
namespace {

constexpr double kWidth = 1200;
constexpr double kLeft = 150;
constexpr double kRight = 30;
constexpr double kTop = 60;
constexpr double kLaneHeight = 90;
constexpr double kLaneGap = 20;

std::string Num(double v) {
    char buf[32];
    snprintf(buf, sizeof(buf), "%.1f", v);
    return buf;
}

std::string Escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '&') {
            out += "&amp;";
        } else {
            out += c;
        }
    }
    return out;
}

class Canvas {
  public:
    Canvas(int64_t start_ms, int64_t end_ms)
        : start_(start_ms), end_(std::max(end_ms, start_ms + 1)) {}

    double X(int64_t ms) const {
        return kLeft + (kWidth - kLeft - kRight) * static_cast<double>(ms - start_) /
                           static_cast<double>(end_ - start_);
    }
    double LaneTop(int lane) const { return kTop + lane * (kLaneHeight + kLaneGap); }
    // y of `value` in a lane spanning [lo, hi].
    double Y(int lane, double value, double lo, double hi) const {
        const double share = hi > lo ? (value - lo) / (hi - lo) : 0.5;
        return LaneTop(lane) + kLaneHeight - 8 - (kLaneHeight - 16) * std::clamp(share, 0.0, 1.0);
    }
    double Bottom(int lanes) const { return LaneTop(lanes) - kLaneGap; }
    int64_t start() const { return start_; }
    int64_t end() const { return end_; }

    std::string svg;

  private:
    int64_t start_;
    int64_t end_;

  public:
    void Lane(int lane, const std::string& name, const std::string& range) {
        const double top = LaneTop(lane);
        svg += "<rect x='" + Num(kLeft) + "' y='" + Num(top) + "' width='" +
               Num(kWidth - kLeft - kRight) + "' height='" + Num(kLaneHeight) +
               "' fill='#f7f7f7' stroke='#ccc'/>\n";
        svg += "<text x='10' y='" + Num(top + 30) + "' font-size='14' font-weight='bold'>" +
               Escape(name) + "</text>\n";
        svg += "<text x='10' y='" + Num(top + 50) + "' font-size='11' fill='#666'>" +
               Escape(range) + "</text>\n";
    }

    // A line that holds each value until the next one, to the end of the session.
    void Steps(int lane, const std::vector<Sample>& samples, double lo, double hi,
               const char* color) {
        if (samples.empty()) return;
        std::string points;
        for (size_t i = 0; i < samples.size(); ++i) {
            const double y = Y(lane, samples[i].value, lo, hi);
            const int64_t next = i + 1 < samples.size() ? samples[i + 1].time_ms : end_;
            points +=
                Num(X(samples[i].time_ms)) + "," + Num(y) + " " + Num(X(next)) + "," + Num(y) + " ";
        }
        svg += "<polyline fill='none' stroke='" + std::string(color) +
               "' stroke-width='2' points='" + points + "'/>\n";
    }
};

void TimeAxis(Canvas* c, int lanes) {
    const double bottom = c->Bottom(lanes);
    const int64_t span = c->end() - c->start();
    const int64_t step = span > 6 * 3600000 ? 3600000 : span > 3600000 ? 900000 : 60000;
    for (int64_t t = (c->start() / step + 1) * step; t < c->end(); t += step) {
        const double x = c->X(t);
        c->svg += "<line x1='" + Num(x) + "' y1='" + Num(kTop) + "' x2='" + Num(x) + "' y2='" +
                  Num(bottom) + "' stroke='#e0e0e0'/>\n";
        c->svg += "<text x='" + Num(x) + "' y='" + Num(bottom + 16) +
                  "' font-size='11' text-anchor='middle'>" + ClockText(t).substr(0, 5) + "</text>\n";
    }
}

double MaxOf(const std::vector<Sample>& samples, double floor) {
    double hi = floor;
    for (const Sample& s : samples) hi = std::max(hi, s.value);
    return hi;
}

double MinOf(const std::vector<Sample>& samples, double ceiling) {
    double lo = ceiling;
    for (const Sample& s : samples) lo = std::min(lo, s.value);
    return lo;
}

}  // namespace

std::string SessionSvg(const SimResult& r, const std::string& title) {
    Canvas c(r.start_ms, r.end_ms);
    constexpr int kLanes = 5;
    const double height = c.Bottom(kLanes) + 40;
    c.svg = "<svg xmlns='http://www.w3.org/2000/svg' width='" + Num(kWidth) + "' height='" +
            Num(height) + "' font-family='sans-serif'>\n";
    c.svg += "<rect width='100%' height='100%' fill='white'/>\n";
    c.svg += "<text x='10' y='30' font-size='18' font-weight='bold'>fputil sim: " + Escape(title) +
             "</text>\n";

    // Exposure.
    const double expo_lo = MinOf(r.exposure, 1e9) * 0.9;
    const double expo_hi = MaxOf(r.exposure, 0) * 1.1;
    c.Lane(0, "exposure",
           r.exposure.empty() ? "not calibrated" : Num(expo_lo) + " - " + Num(expo_hi) + " ms");
    c.Steps(0, r.exposure, expo_lo, expo_hi, "#1f6fb4");
    for (const Sample& s : r.exposure) {
        const double x = c.X(s.time_ms);
        const bool near_end = x > kWidth - kRight - 60;
        c.svg += "<text x='" + Num(near_end ? x - 3 : x + 3) + "' text-anchor='" +
                 (near_end ? "end" : "start") + "' y='" +
                 Num(c.Y(0, s.value, expo_lo, expo_hi) - 4) + "' font-size='10' fill='#1f6fb4'>" +
                 Num(s.value) + " ms</text>\n";
    }

    // Authentication results: matches high, rejections low, acquisition problems between.
    c.Lane(1, "authentication", "match / error / reject");
    for (const Sample& s : r.auth) {
        const char* color = s.value > 0 ? "#2e9d3a" : s.value < 0 ? "#999" : "#d03030";
        const double y = c.Y(1, s.value > 0 ? 1.0 : s.value < 0 ? 0.5 : 0.0, 0, 1);
        c.svg += "<circle cx='" + Num(c.X(s.time_ms)) + "' cy='" + Num(y) + "' r='4' fill='" +
                 color + "'/>\n";
    }

    // LHBM intervals.
    c.Lane(2, "LHBM", "on intervals");
    for (size_t i = 0; i < r.lhbm.size(); ++i) {
        if (r.lhbm[i].value <= 0) continue;
        const int64_t off = i + 1 < r.lhbm.size() ? r.lhbm[i + 1].time_ms : r.end_ms;
        const double x = c.X(r.lhbm[i].time_ms);
        c.svg += "<rect x='" + Num(x) + "' y='" + Num(c.LaneTop(2) + 20) + "' width='" +
                 Num(std::max(2.0, c.X(off) - x)) + "' height='" + Num(kLaneHeight - 40) +
                 "' fill='#f0a030'/>\n";
    }

    // Ambient light, on a logarithmic scale.
    std::vector<Sample> light;
    for (const Sample& s : r.light) light.push_back({s.time_ms, std::log10(1 + s.value), s.label});
    const double light_hi = std::max(1.0, MaxOf(light, 0));
    c.Lane(3, "ambient light", "0 - " + Num(std::pow(10, light_hi) - 1) + " lux (log)");
    c.Steps(3, light, 0, light_hi, "#b08d00");

    // Thermal throttling severity.
    c.Lane(4, "thermal severity", "NONE (0) - SHUTDOWN (6)");
    c.Steps(4, r.severity, 0, 6, "#c0392b");

    // Marks that fall on nearly the same spot share one line and one label.
    std::vector<std::pair<double, std::string>> groups;
    std::vector<bool> group_error;
    for (const Sample& m : r.marks) {
        const double x = c.X(m.time_ms);
        const bool error = m.label == "critical error" || m.label == "init error";
        if (!groups.empty() && x - groups.back().first < 40) {
            if (groups.back().second.find(m.label) == std::string::npos) {
                groups.back().second += ", " + m.label;
            }
            group_error.back() = group_error.back() || error;
            continue;
        }
        groups.push_back({x, m.label});
        group_error.push_back(error);
    }
    for (size_t i = 0; i < groups.size(); ++i) {
        const double x = groups[i].first;
        c.svg += "<line x1='" + Num(x) + "' y1='" + Num(kTop - 8) + "' x2='" + Num(x) + "' y2='" +
                 Num(c.Bottom(kLanes)) + "' stroke='" + (group_error[i] ? "#d03030" : "#555") +
                 "' stroke-dasharray='4,3'/>\n";
        const bool right_half = x > kWidth / 2;
        c.svg += "<text x='" + Num(right_half ? x - 3 : x + 3) + "' y='" + Num(kTop - 10) +
                 "' font-size='10' text-anchor='" + (right_half ? "end" : "start") + "'>" +
                 Escape(groups[i].second) + "</text>\n";
    }
    TimeAxis(&c, kLanes);
    c.svg += "</svg>\n";
    return c.svg;
}

}  // namespace fputil

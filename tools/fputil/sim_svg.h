// The picture of a simulated session: one lane per series over the scenario's time
// (exposure, authentication results, LHBM intervals, ambient light, thermal severity), with
// restarts, display deaths and critical errors marked across all lanes.
#pragma once

#include <string>

#include "tools/fputil/sim_session.h"

namespace fputil {

// A complete SVG document.
std::string SessionSvg(const SimResult& result, const std::string& title);

}  // namespace fputil

#include "strip_curves.hpp"

#include <cmath>

#include "settings_from_controls.hpp"

namespace stemstrip::lv2 {

DesignedControls DesignControls(const Plugin& plugin, std::span<const float> controls, double sampleRate) {
    Settings s = SettingsFromControls(plugin, controls, sampleRate);
    // Bypass only changes what is heard; the curves show what is set.
    s.bypass = false;
    return {s, Design(s, plugin.format.format, sampleRate)};
}

double AxisFrequency(int i, int n) { return kLowestHz * std::pow(kHighestHz / kLowestHz, double(i) / (n - 1)); }

EqCurves ComputeEqCurves(const DesignedControls& d, double sampleRate, int points) {
    EqCurves c;
    for (int i = 0; i < points; ++i) c.frequencies.push_back(AxisFrequency(i, points));
    for (const EqBand& b : d.settings.bands)
        c.bands.push_back(b.enabled ? BandMagnitudeDb(b, sampleRate, c.frequencies) : std::vector<double>{});
    c.pre = StageMagnitudeDb(d.coefficients.eq, 0, sampleRate, c.frequencies);
    c.post = StageMagnitudeDb(d.coefficients.eq, 1, sampleRate, c.frequencies);
    for (size_t i = 0; i < c.pre.size(); ++i) c.total.push_back(c.pre[i] + c.post[i]);
    return c;
}

}  // namespace stemstrip::lv2

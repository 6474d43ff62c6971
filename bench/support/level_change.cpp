#include "level_change.h"

#include <cmath>

namespace bench {

double LevelChangeDb(const TestSignal& programme, int channels, int callSamples, const ProgrammeCall& call,
                     const CallOutput& output) {
    double in = 0, out = 0;
    for (int pos = 0; pos < TestSignal::kLength; pos += callSamples) {
        call(pos, callSamples);
        for (int ch = 0; ch < channels; ++ch)
            for (int i = 0; i < callSamples; ++i) {
                const double x = programme.Channel(ch)[pos + i], y = output(ch)[i];
                in += x * x;
                out += y * y;
            }
    }
    return 10 * std::log10(out / in);
}

}  // namespace bench

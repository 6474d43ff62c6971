#include "render_loop.hpp"

#include <algorithm>
#include <cmath>

#include "cli_error.hpp"
#include "interruption.hpp"
#include "meter_summary.hpp"

namespace stemstrip::cli {
namespace {

// The report's time resolution: 10 ms, coarser for long files so the page
// stays small.
constexpr double kTraceSeconds = 0.01;
constexpr int64_t kMaxTracePoints = 4000;

// Reads n frames (zeros past the end of the file) into planar buffers.
void ReadFrames(AudioReader& reader, int n, std::vector<float>& interleaved) {
    const int channels = reader.format().channels;
    const int64_t got = reader.Read(std::span(interleaved).first(static_cast<size_t>(n) * channels));
    std::fill(interleaved.begin() + got * channels, interleaved.begin() + static_cast<int64_t>(n) * channels, 0.0f);
}

float MaxOf(const std::array<float, 8>& values, int channels) {
    return *std::max_element(values.begin(), values.begin() + channels);
}

void Record(LevelTrace& trace, const MeterSnapshot& m) {
    trace.inputPeakDb.push_back(MaxOf(m.inputPeakDb, m.channels));
    trace.outputPeakDb.push_back(MaxOf(m.outputPeakDb, m.channels));
    trace.compReductionDb.push_back(m.compReductionDb);
    trace.expReductionDb.push_back(m.expReductionDb);
}

}  // namespace

RenderResult Render(Instance& strip, RenderIo& io, int blockSize, const ProgressFn& progress) {
    const int channels = strip.channels();
    const int latency = strip.latency();
    const int64_t total = io.input.format().frames + latency;
    const double rate = strip.sampleRate();
    const int64_t window = std::max<int64_t>(std::llround(rate * kTraceSeconds),
                                             (total + kMaxTracePoints - 1) / kMaxTracePoints);
    const size_t block = static_cast<size_t>(blockSize);

    std::vector<float> interleaved(block * channels);
    std::vector<std::vector<float>> in(channels, std::vector<float>(block)), out(channels, std::vector<float>(block));
    std::vector<const float*> inPtrs;
    std::vector<float*> outPtrs;
    for (int c = 0; c < channels; ++c) {
        inPtrs.push_back(in[c].data());
        outPtrs.push_back(out[c].data());
    }
    const int keyChannels = io.key ? io.key->format().channels : 0;
    std::vector<float> keyInterleaved(block * keyChannels), key(io.key ? block : 0);

    RenderResult result;
    result.totals.channels = channels;
    result.totals.inputPeakDb.fill(kMeterFloorDb);
    result.totals.outputPeakDb.fill(kMeterFloorDb);
    result.totals.channelGainDb.fill(kMeterFloorDb);
    result.trace.secondsPerPoint = static_cast<double>(window) / rate;

    for (int64_t done = 0; done < total;) {
        if (Interrupted()) throw CliError("interrupted; no output written");
        const int n = static_cast<int>(std::min<int64_t>({blockSize, total - done, window - done % window}));

        ReadFrames(io.input, n, interleaved);
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < n; ++i) in[c][i] = interleaved[static_cast<size_t>(i) * channels + io.stripToFile[c]];
        if (io.key) {
            ReadFrames(*io.key, n, keyInterleaved);
            for (int i = 0; i < n; ++i) {
                float sum = 0.0f;
                for (int c = 0; c < keyChannels; ++c) sum += keyInterleaved[static_cast<size_t>(i) * keyChannels + c];
                key[i] = sum / static_cast<float>(keyChannels);
            }
        }

        strip.process(inPtrs.data(), outPtrs.data(), n, io.key ? key.data() : nullptr);

        // The first `latency` output samples precede the input's first sample.
        const int skip = static_cast<int>(std::clamp<int64_t>(latency - done, 0, n));
        for (int c = 0; c < channels; ++c)
            for (int i = skip; i < n; ++i)
                interleaved[static_cast<size_t>(i - skip) * channels + io.stripToFile[c]] = out[c][i];
        io.output.Write(std::span<const float>(interleaved).first(static_cast<size_t>(n - skip) * channels));

        done += n;
        if (done % window == 0 || done == total) {
            const MeterSnapshot m = strip.readMeters();
            AccumulateMeters(result.totals, m);
            Record(result.trace, m);
        }
        if (progress) progress(done, total);
    }
    return result;
}

}  // namespace stemstrip::cli

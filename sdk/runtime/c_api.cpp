#include "stemstrip/c_api.h"

#include <exception>
#include <string>

#include "argument_checks.hpp"
#include "stemstrip/instance.hpp"
#include "stemstrip/settings_assignments.hpp"

struct stemstrip_sdk {
    stemstrip::Instance instance;
};

namespace {

thread_local std::string lastError;

// Runs `body`, turning any exception into -1 and the thread's last error.
template <class Body>
int Guarded(Body body) {
    lastError.clear();
    try {
        body();
        return 0;
    } catch (const std::exception& e) {
        lastError = e.what();
    } catch (...) {
        lastError = "unexpected error";
    }
    return -1;
}

void CheckHandle(const stemstrip_sdk* strip) {
    if (!strip) stemstrip::runtime::ThrowUsage("strip is null: pass a handle from stemstrip_sdk_create");
}

// A handle's value, or -1 with the last error set when it is null.
template <class Query>
int Queried(const stemstrip_sdk* strip, Query query) {
    int value = -1;
    Guarded([&] {
        CheckHandle(strip);
        value = query(strip->instance);
    });
    return value;
}

}  // namespace

extern "C" {

stemstrip_sdk* stemstrip_sdk_create(const char* format_name, double sample_rate, int aligned_blocks) {
    stemstrip_sdk* strip = nullptr;
    Guarded([&] {
        const stemstrip::Format format = stemstrip::runtime::FormatFromName(format_name);
        stemstrip::InstanceOptions options;
        options.alignedBlocks = aligned_blocks != 0;
        strip = new stemstrip_sdk{stemstrip::Instance(format, stemstrip::Settings{}, sample_rate, options)};
    });
    return strip;
}

void stemstrip_sdk_destroy(stemstrip_sdk* strip) {
    lastError.clear();
    delete strip;  // null is a no-op, as for free()
}

int stemstrip_sdk_set(stemstrip_sdk* strip, const char* assignments) {
    return Guarded([&] {
        CheckHandle(strip);
        if (!assignments) stemstrip::runtime::ThrowUsage("assignments is null: pass \"name=value; ...\"");
        strip->instance.setSettings(stemstrip::ApplyAssignments(strip->instance.settings(), assignments));
    });
}

int stemstrip_sdk_reset(stemstrip_sdk* strip) {
    return Guarded([&] {
        CheckHandle(strip);
        strip->instance.reset();
    });
}

int stemstrip_sdk_process(stemstrip_sdk* strip, const float* const* inputs, float* const* outputs, int n,
                          const float* key) {
    return Guarded([&] {
        CheckHandle(strip);
        strip->instance.process(inputs, outputs, n, key);
    });
}

int stemstrip_sdk_read_meters(stemstrip_sdk* strip, stemstrip_sdk_meters* meters) {
    return Guarded([&] {
        CheckHandle(strip);
        if (!meters) stemstrip::runtime::ThrowUsage("meters is null: pass a stemstrip_sdk_meters to fill");
        const stemstrip::MeterSnapshot m = strip->instance.readMeters();
        *meters = stemstrip_sdk_meters{};
        meters->channels = m.channels;
        for (int c = 0; c < m.channels; ++c) {
            meters->input_peak_db[c] = m.inputPeakDb[c];
            meters->output_peak_db[c] = m.outputPeakDb[c];
            meters->channel_gain_db[c] = m.channelGainDb[c];
            meters->non_finite_samples[c] = m.nonFiniteSamples[c];
        }
        meters->comp_reduction_db = m.compReductionDb;
        meters->exp_reduction_db = m.expReductionDb;
        meters->samples = m.samples;
        meters->non_finite_key_samples = m.nonFiniteKeySamples;
        meters->first_non_finite_sample = m.firstNonFiniteSample;
        meters->state_resets = m.stateResets;
        meters->missing_key_calls = m.missingKeyCalls;
    });
}

int stemstrip_sdk_latency(const stemstrip_sdk* strip) {
    return Queried(strip, [](const stemstrip::Instance& i) { return i.latency(); });
}

int stemstrip_sdk_channels(const stemstrip_sdk* strip) {
    return Queried(strip, [](const stemstrip::Instance& i) { return i.channels(); });
}

const char* stemstrip_sdk_last_error(void) { return lastError.c_str(); }

}  // extern "C"

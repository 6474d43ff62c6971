/*
 * C interface to the stemstrip runtime, for hosts in C, Rust, Python
 * (ctypes)... Functions returning int give 0 on success and -1 on error;
 * stemstrip_sdk_last_error() then describes the error (per thread).
 *
 * Settings are text: "name=value" assignments separated by ';' or newlines,
 * applied all together or not at all, on top of the current settings (a new
 * handle starts with every stage off). Names:
 *   compressor.{thresholdDb, ratio, kneeDb, attackMs, releaseMs, maxReductionDb, makeupDb}
 *   expander.{thresholdDb, ratio, kneeDb, rangeDb, gate, gateThresholdDb, hysteresisDb,
 *             holdMs, attackMs, releaseMs}
 *   detector.{mode (Peak|Average), peakDecayMs, averageMs,
 *             filter (Off|HighPass|LowPass|BandPass), filterHz, filterQ, externalKey, keyListen}
 *   bands[0..7].{enabled, type (Bell|LowShelf|HighShelf|HighPass1|HighPass2|LowPass1|LowPass2|
 *             BandPass|Notch), placement (PreDynamics|PostDynamics), frequencyHz, gainDb, q}
 *   channelGroups (0,0,1 or [0,0,1]; "default" or null for the format's own; channelGroups[i]
 *             for one slot of a list already set), inputMeterTrimDb, bypass, smoothingMs
 * Booleans are 1/0, true/false or on/off; numbers are decimal (a leading + and inf allowed),
 * read the same in every locale. The whole grammar: stemstrip/settings_assignments.hpp.
 *
 * Threads: stemstrip_sdk_process on the audio thread; stemstrip_sdk_set,
 * stemstrip_sdk_reset and stemstrip_sdk_read_meters from any thread.
 */
#ifndef STEMSTRIP_C_API_H
#define STEMSTRIP_C_API_H

#if defined(__GNUC__)
#define STEMSTRIP_SDK_API __attribute__((visibility("default")))
#else
#define STEMSTRIP_SDK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct stemstrip_sdk stemstrip_sdk;

/* Meter values since the previous read, in dB (see stemstrip/meters.hpp). */
typedef struct stemstrip_sdk_meters {
    int channels;
    float input_peak_db[8];
    float output_peak_db[8];
    float channel_gain_db[8];
    float comp_reduction_db;
    float exp_reduction_db;
    long long samples;
    /* NaN or infinite samples per channel and in the key, replaced by 0 on
     * their way in; the input sample index of the first of them, or -1;
     * states that went non-finite anyway and restarted; calls without a key
     * while detector.externalKey was on (they detect from the programme). */
    long long non_finite_samples[8];
    long long non_finite_key_samples;
    long long first_non_finite_sample;
    long long state_resets;
    long long missing_key_calls;
} stemstrip_sdk_meters;

/* format_name: "mono", "stereo", "lcr", "quad", "lcrs", "5.0", "5.1", "6.0",
 * "6.1", "7.0", "7.1". aligned_blocks: non-zero promises that every process
 * call passes a multiple of 16 samples (no latency); 0 accepts any length
 * with a latency of stemstrip_sdk_latency() samples. Null on error. */
STEMSTRIP_SDK_API stemstrip_sdk* stemstrip_sdk_create(const char* format_name, double sample_rate, int aligned_blocks);
STEMSTRIP_SDK_API void stemstrip_sdk_destroy(stemstrip_sdk* strip);

STEMSTRIP_SDK_API int stemstrip_sdk_set(stemstrip_sdk* strip, const char* assignments);
STEMSTRIP_SDK_API int stemstrip_sdk_reset(stemstrip_sdk* strip);

/* Non-interleaved: inputs[c] and outputs[c] hold n samples for each of the
 * format's channels (they may be the same buffers); key: n samples or null. */
STEMSTRIP_SDK_API int stemstrip_sdk_process(stemstrip_sdk* strip, const float* const* inputs, float* const* outputs, int n,
                          const float* key);

STEMSTRIP_SDK_API int stemstrip_sdk_read_meters(stemstrip_sdk* strip, stemstrip_sdk_meters* meters);
STEMSTRIP_SDK_API int stemstrip_sdk_latency(const stemstrip_sdk* strip);  /* samples, or -1 on a null handle */
STEMSTRIP_SDK_API int stemstrip_sdk_channels(const stemstrip_sdk* strip); /* or -1 on a null handle */

/* The last error of the calling thread; "" when none. Every function sets
 * it, a null handle included. Bad input it echoes is cut to about 100
 * characters. Valid until that thread's next call into this API. */
STEMSTRIP_SDK_API const char* stemstrip_sdk_last_error(void);

#ifdef __cplusplus
}
#endif

#endif /* STEMSTRIP_C_API_H */

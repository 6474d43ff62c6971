/* A minimal C host: a stereo strip with a compressor, fed a loud sine in
 * host-sized chunks of 441 samples, with meters read between chunks.
 * Exits non-zero when anything fails. */
#include <math.h>
#include <stdio.h>

#include "stemstrip/c_api.h"

enum { kChunk = 441, kChunks = 200 };

static int Fail(const char* what) {
    fprintf(stderr, "%s failed: %s\n", what, stemstrip_sdk_last_error());
    return 1;
}

int main(void) {
    static float left[kChunk], right[kChunk];
    const float* inputs[2] = {left, right};
    float* outputs[2] = {left, right}; /* in place */
    stemstrip_sdk_meters meters;
    const double rate = 44100.0;
    long long t = 0;

    stemstrip_sdk* strip = stemstrip_sdk_create("stereo", rate, 0);
    if (!strip) return Fail("create");
    if (stemstrip_sdk_set(strip, "compressor.thresholdDb=-20; compressor.ratio=4; compressor.attackMs=1") != 0)
        return Fail("set");
    /* a typo is reported and changes nothing */
    if (stemstrip_sdk_set(strip, "compressor.ratio=2; compresor.kneeDb=6") == 0) return Fail("rejecting a typo");
    printf("rejected as expected: %s\n", stemstrip_sdk_last_error());

    for (int chunk = 0; chunk < kChunks; ++chunk) {
        for (int i = 0; i < kChunk; ++i, ++t) left[i] = right[i] = (float)(0.5 * sin(2.0 * M_PI * 1000.0 * t / rate));
        if (stemstrip_sdk_process(strip, inputs, outputs, kChunk, NULL) != 0) return Fail("process");
        if (chunk % 50 == 49) {
            if (stemstrip_sdk_read_meters(strip, &meters) != 0) return Fail("read_meters");
            printf("in %6.2f dBFS  out %6.2f dBFS  compressor -%5.2f dB\n", meters.input_peak_db[0],
                   meters.output_peak_db[0], meters.comp_reduction_db);
        }
    }
    printf("latency %d samples\n", stemstrip_sdk_latency(strip));
    /* -6 dBFS against -20 dB threshold at 4:1 gives 10.5 dB of reduction */
    if (fabs(meters.comp_reduction_db - 10.5) > 0.5) {
        fprintf(stderr, "unexpected gain reduction %.2f dB\n", meters.comp_reduction_db);
        return 1;
    }
    stemstrip_sdk_destroy(strip);
    return 0;
}

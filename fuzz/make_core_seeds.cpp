// Writes the seed corpus of the core fuzzer: realistic scenarios of every
// format from the differential tests' generator (musical settings, stable
// filters, sensible audio), a few hostile ones, encoded in the fuzz input
// format. Usage: make_core_seeds <directory>
#include <algorithm>
#include <cstdio>
#include <string>

#include "fuzz_case.h"

constexpr int32_t kSeedSamples = 40;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    scenario::Generator gen(0xC0DE5EED);
    const scenario::Options realistic{0.0, 0.0, 0.3}, hostile{};
    int written = 0;
    for (int format = 0; format < model::kFormatCount; ++format) {
        for (int variant = 0; variant < 2; ++variant) {
            const scenario::Options& opt = variant == 1 ? hostile : realistic;
            scenario::Scenario s;
            do s = gen.Make(format, opt); while (s.instances.empty());
            int calls = 3;
            fuzzcase::Writer w;
            fuzzcase::VisitSetup(w, s, calls);
            for (int call = 0; call < calls; ++call) {
                if (call > 0) gen.Evolve(s, opt);
                for (int32_t& count : s.counts) count = std::min(count, kSeedSamples);  // keeps seeds small
                fuzzcase::VisitCall(w, s);
            }
            const std::string path = std::string(argv[1]) + "/" + model::kFormats[format].name + "_" +
                                     std::to_string(variant) + ".bin";
            std::FILE* f = std::fopen(path.c_str(), "wb");
            if (!f || std::fwrite(w.bytes.data(), 1, w.bytes.size(), f) != w.bytes.size() || std::fclose(f) != 0) {
                std::perror(path.c_str());
                return 1;
            }
            ++written;
        }
    }
    std::printf("%d seeds\n", written);
    return 0;
}

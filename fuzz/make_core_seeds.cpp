// Writes the seed corpus of the core fuzzer: realistic scenarios of every
// format from the differential tests' generator (musical settings, stable
// filters, sensible audio) and hostile ones, in the fuzz input format.
// Usage: make_core_seeds <directory>
#include <algorithm>
#include <cstdio>
#include <string>

#include "fuzz_case.h"

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]), 2;
    scenario::Generator gen(0xC0DE5EED);
    const scenario::Options options[] = {{0.0, 0.0, 0.3}, {}};  // realistic, hostile
    for (int format = 0; format < model::kFormatCount; ++format)
        for (int variant = 0; variant < 2; ++variant) {
            scenario::Scenario s;
            do s = gen.Make(format, options[variant]); while (s.instances.empty());
            int calls = 3;
            fuzzcase::Writer w;
            fuzzcase::VisitSetup(w, s, calls);
            for (int call = 0; call < calls; ++call) {
                if (call > 0) gen.Evolve(s, options[variant]);
                for (int32_t& count : s.counts) count = std::min(count, 40);  // keeps seeds small
                fuzzcase::VisitCall(w, s);
            }
            const std::string path = std::string(argv[1]) + "/" + model::kFormats[format].name + "_" + std::to_string(variant) + ".bin";
            std::FILE* f = std::fopen(path.c_str(), "wb");
            if (!f || std::fwrite(w.bytes.data(), 1, w.bytes.size(), f) != w.bytes.size() || std::fclose(f) != 0)
                return std::perror(path.c_str()), 1;
        }
    std::printf("%d seeds\n", 2 * model::kFormatCount);
}

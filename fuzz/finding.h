// A fuzzer's finding: said on stderr, then the run aborts, so that libFuzzer
// reports it and saves the input that caused it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

[[noreturn]] inline void Finding(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
}

// A minimal LV2 host for the tests and the run-cost figures: loads the
// bundle's binary with dlopen, instantiates one plugin by URI and owns
// every port's buffer, so run() can be called exactly as a test needs.
#pragma once

#include <lv2/core/lv2.h>

#include <string>
#include <vector>

#include "port_layout.hpp"

namespace stemstrip::lv2test {

class DirectHost {
public:
    // Throws std::runtime_error naming the binary or URI it cannot use.
    DirectHost(const std::string& uri, double sampleRate, int maxBlock);
    ~DirectHost();
    DirectHost(const DirectHost&) = delete;
    DirectHost& operator=(const DirectHost&) = delete;

    void activate();
    void run(int n);

    float& control(const std::string& symbol);
    float* input(int port) { return in_[port].data(); }
    float* output(int port) { return out_[port].data(); }
    float* key() { return key_.data(); }  // connected in side-chain plugins
    float peakInDb(int port) const { return outputs_[layout_.peakIn(port) - firstOutput()]; }
    float peakOutDb(int port) const { return outputs_[layout_.peakOut(port) - firstOutput()]; }
    float latency() const { return outputs_[layout_.latency() - firstOutput()]; }
    int channels() const { return layout_.channels(); }

private:
    int firstOutput() const { return layout_.peakIn(0); }

    void* library_;
    const LV2_Descriptor* descriptor_ = nullptr;
    LV2_Handle handle_ = nullptr;
    const lv2::Plugin& plugin_;
    lv2::PortLayout layout_;
    std::vector<std::vector<float>> in_, out_;
    std::vector<float> key_, controls_, outputs_;
};

}  // namespace stemstrip::lv2test

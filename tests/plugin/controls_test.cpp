// Control values as hosts write them, turned into settings the designer
// always accepts; and the mailbox that carries them off the audio thread.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "control_mailbox.hpp"
#include "settings_from_controls.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {
namespace {

const ControlPort& Port(const std::string& symbol) {
    for (const ControlPort& c : ControlPorts())
        if (c.symbol == symbol) return c;
    throw std::runtime_error("no port " + symbol);
}

std::vector<float> Defaults() {
    std::vector<float> v;
    for (const ControlPort& c : ControlPorts()) v.push_back(c.defaultValue);
    return v;
}

void Set(std::vector<float>& values, const std::string& symbol, float v) {
    values[&Port(symbol) - ControlPorts().data()] = v;
}

TEST(Controls, SanitiseMakesAnyHostValueUsable) {
    constexpr double kRate = 48000;
    EXPECT_EQ(Sanitise(Port("comp_threshold"), NAN, kRate), 0.0f) << "NaN gives the default";
    EXPECT_EQ(Sanitise(Port("comp_threshold"), -500, kRate), -80.0f);
    EXPECT_EQ(Sanitise(Port("comp_threshold"), INFINITY, kRate), 24.0f);
    EXPECT_EQ(Sanitise(Port("gate"), 0.01f, kRate), 1.0f) << "toggles: above zero is on";
    EXPECT_EQ(Sanitise(Port("gate"), -3, kRate), 0.0f);
    EXPECT_EQ(Sanitise(Port("band1_type"), 2.6f, kRate), 3.0f) << "nearest enumeration entry";
    EXPECT_EQ(Sanitise(Port("band1_type"), 99, kRate), 8.0f);
    EXPECT_EQ(Sanitise(Port("band1_freq"), 30000, kRate), 20000.0f) << "the port's top";
    EXPECT_EQ(Sanitise(Port("band1_freq"), 30000, 32000), 15680.0f) << "49 % of 32 kHz";
    EXPECT_EQ(Sanitise(Port("band6_freq"), NAN, 8000), 3920.0f) << "a default above 49 % of 8 kHz";
    EXPECT_EQ(Sanitise(Port("sc_freq"), 20000, 8000), 3920.0f) << "49 % of 8 kHz";
    EXPECT_EQ(Sanitise(Port("band1_freq"), 5, kRate), 10.0f);
}

TEST(Controls, HostileValuesStillDesignAtEveryRate) {
    // Every control at both ends of its range, NaN and infinities: the
    // designer must accept the result, or run() could not apply it.
    for (double rate : {8000.0, 44100.0, 192000.0, 768000.0}) {
        for (float v : {-INFINITY, -1e30f, NAN, 1e30f, INFINITY}) {
            std::vector<float> values(ControlPorts().size(), v);
            EXPECT_NO_THROW(Design(SettingsFromControls(values, rate), Format::Stereo, rate)) << v << " at " << rate;
        }
        std::vector<float> values = Defaults();
        for (size_t i = 0; i < values.size(); ++i) values[i] = i % 2 ? ControlPorts()[i].max : ControlPorts()[i].min;
        EXPECT_NO_THROW(Design(SettingsFromControls(values, rate), Format::Surround7_1, rate)) << rate;
    }
}

TEST(Controls, RatioAtTheTopOfTheScaleLimits) {
    std::vector<float> values = Defaults();
    Set(values, "comp_ratio", 100);
    EXPECT_TRUE(std::isinf(SettingsFromControls(values, 48000).compressor.ratio));
    Set(values, "comp_ratio", 99.5f);
    EXPECT_EQ(SettingsFromControls(values, 48000).compressor.ratio, 99.5);
    Set(values, "enabled", 0);
    EXPECT_TRUE(SettingsFromControls(values, 48000).bypass);
}

TEST(ControlMailbox, ReaderNeverAcceptsATornSet) {
    constexpr size_t kCount = 97;
    ControlMailbox mailbox(kCount);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        std::vector<float> v(kCount);
        for (int k = 1; k <= 200000; ++k) {
            std::fill(v.begin(), v.end(), static_cast<float>(k));
            mailbox.post(v);
        }
        done = true;
    });
    std::vector<float> got(kCount);
    long accepted = 0, torn = 0;
    float last = 0;
    while (!done) {
        if (!mailbox.read(got)) continue;
        ++accepted;
        torn += std::count(got.begin(), got.end(), got[0]) != static_cast<long>(kCount);
        EXPECT_GE(got[0], last) << "went back in time";
        last = got[0];
    }
    writer.join();
    ASSERT_TRUE(mailbox.read(got));
    EXPECT_EQ(got[0], 200000.0f) << "the newest set is what stays";
    EXPECT_EQ(torn, 0) << "of " << accepted << " accepted reads";
}

}  // namespace
}  // namespace stemstrip::lv2

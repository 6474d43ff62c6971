// A meter a person can read: the plugin's meter ports hold the maximum of
// each few hundred samples, which flickers. The bar jumps up at once and
// falls at a fixed rate; a peak mark holds for a moment before it falls too.
#pragma once

#include <algorithm>

namespace stemstrip::lv2 {

class MeterBallistics {
public:
    // `rest`: the reading with no signal (the floor of a level, 0 of a reduction).
    explicit MeterBallistics(double rest) : rest_(rest), shown_(rest), held_(rest), latest_(rest), sinceTick_(rest) {}

    // Hosts may report several values between ticks, or none while a
    // reading stays: the loudest since the last tick counts, else the latest.
    void set(double value) {
        latest_ = value;
        sinceTick_ = std::max(sinceTick_, value);
    }
    // Advances by `seconds`; true while anything still moves.
    bool tick(double seconds) {
        const double before = shown_, heldBefore = held_;
        shown_ = std::max(std::max(latest_, sinceTick_), shown_ - kFallDbPerSecond * seconds);
        sinceTick_ = rest_;
        holdLeft_ -= seconds;
        if (shown_ >= held_) held_ = shown_, holdLeft_ = kHoldSeconds;
        else if (holdLeft_ <= 0) held_ = std::max(shown_, held_ - kFallDbPerSecond * seconds);
        return shown_ != before || held_ != heldBefore;
    }
    double shown() const { return shown_; }
    double held() const { return held_; }

private:
    static constexpr double kFallDbPerSecond = 24.0, kHoldSeconds = 1.5;
    double rest_, shown_, held_, latest_, sinceTick_;
    double holdLeft_ = 0;
};

}  // namespace stemstrip::lv2

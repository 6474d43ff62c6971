#include "demo_signal.hpp"

#include <cmath>
#include <cstdint>
#include <numbers>

namespace stemstrip::cli {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// Deterministic white noise in [-1, 1): the demo must be the same everywhere.
class Noise {
public:
    explicit Noise(uint32_t seed) : state_(seed) {}
    double operator()() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return static_cast<double>(state_) / 2147483648.0 - 1.0;
    }

private:
    uint32_t state_;
};

// One-pole low-pass, for colouring noise.
class Smoother {
public:
    Smoother(double cutoffHz, int rate) : k_(1.0 - std::exp(-kTwoPi * cutoffHz / rate)) {}
    double operator()(double x) { return y_ += k_ * (x - y_); }

private:
    double k_, y_ = 0.0;
};

double Db(double db) { return std::pow(10.0, db / 20.0); }

// A voiced, sung or spoken line: harmonics of a gliding, vibrating pitch with
// two formant-like peaks, cut into syllables with gaps between phrases.
class VoiceLine {
public:
    VoiceLine(double baseHz, double syllablesPerSecond, int rate) : base_(baseHz), syllables_(syllablesPerSecond), rate_(rate) {}
    double operator()(double t) {
        const double phraseClock = std::fmod(t, 3.0);
        if (phraseClock > 2.3) return 0.0;  // breath between phrases
        const double pitch = base_ * (1.0 + 0.25 * std::sin(kTwoPi * 0.21 * t)) * (1.0 + 0.012 * std::sin(kTwoPi * 5.5 * t));
        phase_ += kTwoPi * pitch / rate_;
        double sample = 0.0;
        for (int h = 1; h <= 12; ++h) {
            const double f = h * pitch;
            const double formants = 1.0 / (1.0 + std::pow((f - 700.0) / 250.0, 2)) + 0.6 / (1.0 + std::pow((f - 2200.0) / 400.0, 2));
            sample += (0.15 + formants) / h * std::sin(h * phase_);
        }
        const double syllable = std::pow(std::sin(std::numbers::pi * std::fmod(t * syllables_, 1.0)), 2);
        return 0.35 * sample * syllable;
    }

private:
    double base_, syllables_;
    int rate_;
    double phase_ = 0.0;
};

// The drum mix peaks near -6 dBFS, as a bus before processing would, leaving
// room for the drum-bus preset's shelf and makeup gain.
constexpr double kMixHeadroom = 0.5;

// Loud, quiet (-24 dB), loud: what a compressor and an expander are for.
double SectionGain(double t, double seconds) {
    const double third = seconds / 3.0;
    return (t >= third && t < 2.0 * third) ? Db(-24.0) : 1.0;
}

}  // namespace

Planar SynthesiseDrumsAndVoice(int rate, double seconds) {
    const size_t n = static_cast<size_t>(seconds * rate);
    Planar out(2, std::vector<float>(n));
    Noise noise(0x5eed1u);
    Smoother snareTone(3000.0, rate), floorTone(800.0, rate);
    VoiceLine voice(196.0, 4.0, rate);
    constexpr double kBeat = 0.5;  // 120 bpm
    for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / rate;
        const double inBeat = std::fmod(t, kBeat), inBar = std::fmod(t, 4 * kBeat), inEighth = std::fmod(t, kBeat / 2);
        const bool kickBeat = inBar < kBeat || (inBar >= 2 * kBeat && inBar < 3 * kBeat);
        const double kick = kickBeat ? std::sin(kTwoPi * (45.0 * inBeat + 60.0 * (1.0 - std::exp(-inBeat * 30.0)) / 30.0)) *
                                           std::exp(-inBeat * 9.0)
                                     : 0.0;
        const double white = noise(), lowWhite = snareTone(white);
        const double snare = kickBeat ? 0.0 : (lowWhite * 2.5 + 0.3 * std::sin(kTwoPi * 190.0 * inBeat)) * std::exp(-inBeat * 16.0);
        const double hat = (white - lowWhite) * 0.25 * std::exp(-inEighth * 60.0);
        const double v = voice(t);
        const double roomFloor = floorTone(noise()) * Db(-62.0);
        const double g = kMixHeadroom * SectionGain(t, seconds);
        out[0][i] = static_cast<float>(g * (0.75 * kick + 0.5 * snare + 0.4 * hat + 0.65 * v) + roomFloor);
        out[1][i] = static_cast<float>(g * (0.75 * kick + 0.5 * snare + 0.9 * hat + 0.45 * v) + roomFloor);
    }
    return out;
}

Planar SynthesiseFilmStem(int rate, double seconds) {
    const size_t n = static_cast<size_t>(seconds * rate);
    Planar out(6, std::vector<float>(n));  // L R C LFE Ls Rs
    Noise noise(0xf11u), leftAir(0xa1u), rightAir(0xa2u);
    Smoother rumble(60.0, rate), boom(200.0, rate), airL(1500.0, rate), airR(1500.0, rate);
    VoiceLine dialogue(120.0, 5.0, rate);
    const double hitAt = seconds / 2.0;
    for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / rate;
        const double g = SectionGain(t, seconds);
        const double swell = 0.5 + 0.5 * std::sin(kTwoPi * t / seconds - std::numbers::pi / 2);
        const double pad = 0.08 * swell * (std::sin(kTwoPi * 220.0 * t) + std::sin(kTwoPi * 277.2 * t) + std::sin(kTwoPi * 329.6 * t));
        const double sinceHit = t - hitAt;
        const double hit = sinceHit >= 0.0 ? std::exp(-sinceHit * 3.0) : 0.0;
        const double explosion = boom(noise()) * 4.0 * hit;
        out[0][i] = static_cast<float>(g * (pad + 0.5 * explosion));
        out[1][i] = static_cast<float>(g * (pad * 0.9 + 0.5 * explosion));
        out[2][i] = static_cast<float>(g * dialogue(t) * 1.4);
        out[3][i] = static_cast<float>(g * (0.7 * std::sin(kTwoPi * 38.0 * t) * hit + rumble(noise()) * 0.5));
        out[4][i] = static_cast<float>(airL(leftAir()) * Db(-36.0) + 0.2 * explosion);
        out[5][i] = static_cast<float>(airR(rightAir()) * Db(-36.0) + 0.2 * explosion);
    }
    return out;
}

Planar SynthesiseDialogue(int rate, double seconds) {
    const size_t n = static_cast<size_t>(seconds * rate);
    Planar out(1, std::vector<float>(n));
    Noise noise(0xd1a1u);
    Smoother hum(120.0, rate), hiss(4000.0, rate);
    VoiceLine speech(150.0, 6.0, rate);
    for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / rate;
        const double room = hum(noise()) * Db(-40.0) + hiss(noise()) * Db(-58.0);
        out[0][i] = static_cast<float>(SectionGain(t, seconds) * speech(t) * 1.6 + room);
    }
    return out;
}

}  // namespace stemstrip::cli

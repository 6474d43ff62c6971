// The demo's built-in programme, synthesised (deterministically) so the demo
// needs no audio files: a stereo drums-and-voice mix and a 5.1 film stem, both
// with loud and quiet passages and pauses for the dynamics to work on, and a
// mono dialogue track over room noise for a gate.
#pragma once

#include <vector>

namespace stemstrip::cli {

// Planar samples in file channel order.
using Planar = std::vector<std::vector<float>>;

// Stereo (L R): drums at 120 bpm and a sung line; loud, then 24 dB quieter,
// then loud again.
Planar SynthesiseDrumsAndVoice(int sampleRate, double seconds);

// 5.1 (L R C LFE Ls Rs): dialogue with pauses in the centre, a music bed in
// front, room tone in the surrounds and a low-frequency hit halfway through.
Planar SynthesiseFilmStem(int sampleRate, double seconds);

// Mono: speech in phrases over room hum and hiss, the quiet middle third
// close to the noise.
Planar SynthesiseDialogue(int sampleRate, double seconds);

}  // namespace stemstrip::cli

// Where to start reading the core: how one call's samples sit in vector
// lanes, which path runs when, and which file owns each stage. Every lane
// does exactly the scalar operations of its channel or instance in the
// scalar order, so every path gives the same bits; only throughput differs.
//
//  One call: ChannelStrip_AlgorithmProcessFunction (driver/channel_strip.h)
//  walks the instances in array order.
//
//  (1) Runs of mono or stereo instances, settled EQ, one group, sharing no
//      written memory (driver/instance_batch.h, batch_independence.h):
//      InstanceLanes<N, 8>, unit = channel, lane = instance.
//
//            lane:   0      1      2     ...    7
//      unit 0  [ inst0  inst1  inst2   ...  inst7 ]   channel 0 (L)
//      unit 1  [ inst0  inst1  inst2   ...  inst7 ]   channel 1 (R)
//      gain    [  g0     g1     g2     ...   g7   ]   one gain computer per lane
//
//      Spare lanes repeat the first member and are never stored; each member
//      finishes its blocks past the shortest alone, as in (2) or (3).
//
//  (2) One instance of three or more channels (vector build):
//      ChannelLanes<N> with W = 8, one unit, lane = channel; the sub-block
//      stays in registers from the EQ before the dynamics to the EQ after.
//
//            lane:   0   1   2   3   4   5   6   7
//      unit 0  [  L   R   C  LFE  Ls  Rs  Lb  Rb ]
//      groups   linked by lane permutations: lane c takes the maximum over
//               its group's lanes and applies its owner lane's gain
//
//  (3) One mono or stereo instance, and every instance in the one-lane
//      build: ChannelLanes<N> with W = 1, unit = channel, lane = nothing.
//      The stages run through the buffers in the named order (the EQ, the
//      dynamics and the EQ per sub-block), or stage after stage over a
//      whole block when the EQ is settled, the two EQ stages share no
//      section and no output partly overlaps another buffer
//      (driver/channel_strip.h). Then, with vector lanes:
//
//      EQ stage (eq/eq_wavefront.h), lane = section, one sample apart:
//            lane:   0      1      2     ...    7
//      step t  [ x[t]   x[t-1] x[t-2]  ...  x[t-7] ]   sections b .. b+7
//      and, for a stage of at most four sections, two channels per vector
//      (a mono channel fills both halves, the second never stored):
//            lane:   0      1      2      3   |  4      5      6      7
//      step t  [ L[t]   L[t-1] L[t-2] L[t-3]  | R[t]   R[t-1] R[t-2] R[t-3] ]
//
//      gain computer of one group over the block (dynamics/gain_computer.h),
//      lane = time step:
//              [ s0 s1 s2 s3 | s4 s5 s6 s7 ]   dB, curves, gains of eight
//                                              samples; filters and the
//                                              smoothing stay serial
//
//      unit 0  [ L ]   unit 1  [ R ]   groups link units (the maximum of
//                                      their magnitudes, per sample)
//
//  Stage                    written once in            over
//  EQ glide                 eq/eq_dezip.h              the smoothed set
//  EQ sections              eq/eq_sections.h           any lane type, shared or
//                                                      per-lane coefficients
//    per-lane ranges        eq/eq_instance_lanes.h     instances in lanes
//    sections in lanes      eq/eq_wavefront.h          one instance
//  dynamics, channel side   dynamics/channel_side.h    a layout below
//  gain computer            dynamics/gain_computer.h   any lane type
//  dB conversions           dynamics/db_conversion.h   any lane type
//  output and meters        output/output_meters.h     any lane type
#pragma once

#include "lanes.h"

namespace stemstrip {

// A layout: W lanes per unit of lane type V, kUnits units, and the channel
// (of the lane's instance) that a unit and lane carry; kActive lanes hold
// channels that read the tables; kLanesLink when groups link lanes;
// kOneGroup when the units always form one group.
template <int N>
inline constexpr bool kChannelsInLanes = N >= 3 && kLanes<N> >= N;

template <int W>
struct LaneTypeOf {
    using type = Lanes<W>;
};
template <>
struct LaneTypeOf<1> {
    using type = float;
};

template <int N>
struct ChannelLanes {
    static constexpr int W = kChannelsInLanes<N> ? kLanes<N> : 1;
    static constexpr int kUnits = (N + W - 1) / W;
    static constexpr int kActive = N < W ? N : W;  // lanes that read the tables
    static constexpr bool kLanesLink = W > 1;
    static constexpr bool kOneGroup = kUnits == 1;  // units never link
    using V = typename LaneTypeOf<W>::type;
    using Meter = float;  // meters of the one instance
    static int Channel(int unit, int lane) { return unit * W + lane; }
};

template <int N, int Width>
struct InstanceLanes {
    static constexpr int W = Width;
    static constexpr int kUnits = N;
    static constexpr int kActive = W;
    static constexpr bool kLanesLink = false;
    static constexpr bool kOneGroup = true;  // batched instances link all their channels
    using V = Lanes<W>;
    using Meter = V;  // each lane its instance's meters
    static int Channel(int unit, int) { return unit; }
};

}  // namespace stemstrip

// What a minimal LV2 host offers its plugins: URID mapping, and the block
// length bounds and sample rate as options. One object serves every plugin
// of the process; it must outlive them.
#pragma once

#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace peers {

class HostFeatures {
public:
    HostFeatures(double sampleRate, int maxBlockLength);
    HostFeatures(const HostFeatures&) = delete;
    HostFeatures& operator=(const HostFeatures&) = delete;

    const LV2_Feature* const* List() const { return list_.data(); }
    LV2_URID Map(const char* uri);

private:
    static LV2_URID MapCallback(LV2_URID_Map_Handle self, const char* uri);
    static const char* UnmapCallback(LV2_URID_Unmap_Handle self, LV2_URID urid);

    std::unordered_map<std::string, LV2_URID> ids_;
    std::vector<std::unique_ptr<std::string>> uris_;  // index = id - 1; stable c_str()
    LV2_URID_Map map_{this, MapCallback};
    LV2_URID_Unmap unmap_{this, UnmapCallback};
    float sampleRate_;
    int32_t minBlock_ = 1, maxBlock_, nominalBlock_;
    std::vector<LV2_Options_Option> options_;
    std::vector<LV2_Feature> features_;
    std::vector<const LV2_Feature*> list_;
};

}  // namespace peers

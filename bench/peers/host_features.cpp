#include "host_features.h"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/parameters/parameters.h>

namespace peers {

HostFeatures::HostFeatures(double sampleRate, int maxBlockLength)
    : sampleRate_(static_cast<float>(sampleRate)), maxBlock_(maxBlockLength), nominalBlock_(maxBlockLength) {
    const LV2_URID intType = Map(LV2_ATOM__Int), floatType = Map(LV2_ATOM__Float);
    auto option = [](LV2_URID key, LV2_URID type, const void* value, uint32_t size) {
        return LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, key, size, type, value};
    };
    options_ = {
        option(Map(LV2_PARAMETERS__sampleRate), floatType, &sampleRate_, sizeof sampleRate_),
        option(Map(LV2_BUF_SIZE__minBlockLength), intType, &minBlock_, sizeof minBlock_),
        option(Map(LV2_BUF_SIZE__maxBlockLength), intType, &maxBlock_, sizeof maxBlock_),
        option(Map(LV2_BUF_SIZE__nominalBlockLength), intType, &nominalBlock_, sizeof nominalBlock_),
        LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr},
    };
    features_ = {
        {LV2_URID__map, &map_},
        {LV2_URID__unmap, &unmap_},
        {LV2_OPTIONS__options, options_.data()},
        {LV2_BUF_SIZE__boundedBlockLength, nullptr},
    };
    for (const LV2_Feature& f : features_) list_.push_back(&f);
    list_.push_back(nullptr);
}

LV2_URID HostFeatures::Map(const char* uri) {
    auto [it, added] = ids_.try_emplace(uri, static_cast<LV2_URID>(uris_.size() + 1));
    if (added) uris_.push_back(std::make_unique<std::string>(uri));
    return it->second;
}

LV2_URID HostFeatures::MapCallback(LV2_URID_Map_Handle self, const char* uri) {
    return static_cast<HostFeatures*>(self)->Map(uri);
}

const char* HostFeatures::UnmapCallback(LV2_URID_Unmap_Handle self, LV2_URID urid) {
    const auto& uris = static_cast<HostFeatures*>(self)->uris_;
    return urid >= 1 && urid <= uris.size() ? uris[urid - 1]->c_str() : nullptr;
}

}  // namespace peers

#include "direct_host.hpp"

#include <dlfcn.h>

#include <stdexcept>

namespace stemstrip::lv2test {
namespace {

const lv2::Plugin& PluginOf(const std::string& uri) {
    for (const lv2::Plugin& p : lv2::Plugins())
        if (lv2::PluginUri(p) == uri) return p;
    throw std::runtime_error("no plugin '" + uri + "' in the bundle");
}

}  // namespace

DirectHost::DirectHost(const std::string& uri, double sampleRate, int maxBlock)
    : library_(dlopen(STEMSTRIP_LV2_BINARY, RTLD_NOW | RTLD_LOCAL)), plugin_(PluginOf(uri)), layout_(plugin_) {
    if (!library_) throw std::runtime_error(std::string("cannot load the plugin: ") + dlerror());
    auto entry = reinterpret_cast<LV2_Descriptor_Function>(dlsym(library_, "lv2_descriptor"));
    for (uint32_t i = 0; entry && (descriptor_ = entry(i)); ++i)
        if (uri == descriptor_->URI) break;
    if (!descriptor_) throw std::runtime_error("the plugin binary has no descriptor for " + uri);
    const LV2_Feature* noFeatures[] = {nullptr};
    handle_ = descriptor_->instantiate(descriptor_, sampleRate, STEMSTRIP_LV2_DIR "/stemstrip.lv2/", noFeatures);
    if (!handle_) throw std::runtime_error("cannot instantiate " + uri);

    in_.assign(channels(), std::vector<float>(maxBlock));
    out_.assign(channels(), std::vector<float>(maxBlock));
    key_.assign(maxBlock, 0.0f);
    for (const lv2::ControlPort& c : lv2::ControlPortsOf(plugin_)) controls_.push_back(c.defaultValue);
    outputs_.assign(layout_.latency() + 1 - firstOutput(), 0.0f);
    for (int p = 0; p < channels(); ++p) {
        descriptor_->connect_port(handle_, layout_.audioIn(p), in_[p].data());
        descriptor_->connect_port(handle_, layout_.audioOut(p), out_[p].data());
    }
    if (layout_.hasKey()) descriptor_->connect_port(handle_, layout_.key(), key_.data());
    for (int i = 0; i < layout_.controls(); ++i) descriptor_->connect_port(handle_, layout_.control(i), &controls_[i]);
    for (size_t i = 0; i < outputs_.size(); ++i) descriptor_->connect_port(handle_, firstOutput() + i, &outputs_[i]);
}

DirectHost::~DirectHost() {
    if (handle_) descriptor_->cleanup(handle_);
    if (library_) dlclose(library_);
}

void DirectHost::activate() { descriptor_->activate(handle_); }
void DirectHost::run(int n) { descriptor_->run(handle_, static_cast<uint32_t>(n)); }

float& DirectHost::control(const std::string& symbol) {
    const auto& ports = lv2::ControlPortsOf(plugin_);
    for (size_t i = 0; i < ports.size(); ++i)
        if (ports[i].symbol == symbol) return controls_[i];
    throw std::runtime_error("no control port '" + symbol + "'");
}

}  // namespace stemstrip::lv2test

#include "port_layout.hpp"

#include <algorithm>

namespace stemstrip::lv2 {

PortLayout::PortLayout(const Plugin& p)
    : channels_(static_cast<int>(p.format.ports.size())), key_(p.sideChain ? 1 : 0) {
    const std::vector<ControlPort>& ports = ControlPortsOf(p);
    groups_ = static_cast<int>(std::count_if(ports.begin(), ports.end(), [](const ControlPort& c) { return c.channel >= 0; }));
    shared_ = static_cast<int>(ports.size()) - groups_;
}

int PortLayout::controlAt(int port) const {
    if (port >= control(0) && port < control(0) + shared_) return port - control(0);
    if (port > latency() && port < count()) return shared_ + port - latency() - 1;
    return -1;
}

}  // namespace stemstrip::lv2

// Opt-in flush-to-zero for the calling thread, as an RAII scope. On x86 it
// sets FTZ and DAZ in MXCSR and restores the caller's exact mode on exit;
// elsewhere it does nothing. The core never changes floating-point modes
// itself: a host that wants denormals flushed wraps its processing in this.
//
//   { stemstrip::DenormalScope ftz; strip.process(in, out, n); }
#pragma once

namespace stemstrip {

class DenormalScope {
public:
    DenormalScope() noexcept;
    ~DenormalScope();
    DenormalScope(const DenormalScope&) = delete;
    DenormalScope& operator=(const DenormalScope&) = delete;

    // True when this platform flushes inside the scope.
    static bool Supported() noexcept;

private:
    unsigned savedMode_;
};

}  // namespace stemstrip

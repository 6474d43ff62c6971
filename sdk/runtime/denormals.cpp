#include "stemstrip/denormals.hpp"

#if defined(__SSE__) || defined(_M_X64)
#include <pmmintrin.h>
#include <xmmintrin.h>
#define STEMSTRIP_HAS_MXCSR 1
#endif

namespace stemstrip {

#ifdef STEMSTRIP_HAS_MXCSR
// Only the two mode bits are put back: status flags raised inside the scope
// stay visible to the caller, as they would without the scope.
constexpr unsigned kFlushBits = _MM_FLUSH_ZERO_MASK | _MM_DENORMALS_ZERO_MASK;

DenormalScope::DenormalScope() noexcept : savedMode_(_mm_getcsr()) {
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
}
DenormalScope::~DenormalScope() { _mm_setcsr((_mm_getcsr() & ~kFlushBits) | (savedMode_ & kFlushBits)); }
bool DenormalScope::Supported() noexcept { return true; }
#else
DenormalScope::DenormalScope() noexcept : savedMode_(0) {}
DenormalScope::~DenormalScope() = default;
bool DenormalScope::Supported() noexcept { return false; }
#endif

}  // namespace stemstrip

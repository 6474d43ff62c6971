#include "guarded_memory.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace stemstrip_test {
namespace {

std::size_t PageSize() {
    static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return page;
}

[[noreturn]] void Die(const char* what) {
    std::perror(what);
    std::abort();
}

}  // namespace

GuardedArena::~GuardedArena() {
    for (const Mapping& m : maps_) munmap(m.base, m.length);
}

void* GuardedArena::Bytes(std::size_t bytes) {
    const std::size_t page = PageSize();
    const std::size_t dataPages = (bytes + page - 1) / page;
    // A leading guard catches underruns too; the trailing one is the point.
    const std::size_t length = (dataPages + 2) * page;
    void* base = mmap(nullptr, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) Die("mmap");
    unsigned char* first = static_cast<unsigned char*>(base) + page;
    unsigned char* end = first + dataPages * page;
    if (dataPages != 0 && mprotect(first, dataPages * page, PROT_READ | PROT_WRITE) != 0) Die("mprotect");
    unsigned char* data = end - bytes;
    maps_.push_back({base, length, data, bytes});
    return data;  // fresh anonymous pages are zero
}

void GuardedArena::Protect(const void* block, int prot) {
    const std::size_t page = PageSize();
    for (const Mapping& m : maps_) {
        if (m.data != block) continue;
        if (m.dataBytes == 0) return;
        unsigned char* first = static_cast<unsigned char*>(m.base) + page;
        if (mprotect(first, m.length - 2 * page, prot) != 0) Die("mprotect");
        return;
    }
    std::fprintf(stderr, "GuardedArena::Protect: block %p is not from this arena\n", block);
    std::abort();
}

}  // namespace stemstrip_test

// Blocks that end at a PROT_NONE page: reading or writing one float past a
// block raises SIGSEGV. Blocks get only the alignment their type needs, as
// that is all the library may assume. Fresh blocks are zero.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <new>
#include <vector>

namespace stemstrip_test {

class GuardedArena {
public:
    GuardedArena() = default;
    GuardedArena(const GuardedArena&) = delete;
    GuardedArena& operator=(const GuardedArena&) = delete;
    ~GuardedArena();

    template <class T>
    T* Make(std::size_t count = 1) {
        T* p = static_cast<T*>(Bytes(count * sizeof(T)));
        for (std::size_t i = 0; i < count; ++i) new (p + i) T{};
        return p;
    }

    // Changes the protection of a block from Make (PROT_READ, PROT_NONE...).
    void Protect(const void* block, int prot);

private:
    void* Bytes(std::size_t bytes);

    struct Mapping {
        void* base;
        std::size_t length;
        const void* data;
        std::size_t dataBytes;
    };
    std::vector<Mapping> maps_;
};

}  // namespace stemstrip_test

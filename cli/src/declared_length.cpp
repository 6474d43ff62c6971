#include "declared_length.hpp"

#include <array>
#include <cstring>
#include <fstream>

namespace stemstrip::cli {
namespace {

uint32_t Little(const unsigned char* p, int bytes) {
    uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

uint32_t Big(const unsigned char* p, int bytes) {
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) v = v << 8 | p[i];
    return v;
}

// Walks the chunks after the 12-byte container header and hands each id
// with its first bytes to `visit` until it returns a value.
template <class Visit>
std::optional<int64_t> WalkChunks(std::ifstream& in, bool bigEndian, Visit visit) {
    in.seekg(12);
    std::array<unsigned char, 8> head{};
    std::array<unsigned char, 16> body{};
    while (in.read(reinterpret_cast<char*>(head.data()), head.size())) {
        const uint32_t size = bigEndian ? Big(&head[4], 4) : Little(&head[4], 4);
        const std::streampos start = in.tellg();
        body.fill(0);
        in.read(reinterpret_cast<char*>(body.data()), body.size());
        in.clear();
        if (const std::optional<int64_t> frames = visit(std::string(head.begin(), head.begin() + 4), size, body.data()))
            return frames;
        in.seekg(start + static_cast<std::streamoff>(size + (size & 1)));  // chunks are padded to even sizes
    }
    return std::nullopt;
}

bool Unknown(uint32_t size) { return size == 0 || size == 0xFFFFFFFFu; }

}  // namespace

std::optional<int64_t> DeclaredFrames(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::array<char, 12> header{};
    if (!in.read(header.data(), header.size())) return std::nullopt;
    const std::string form(header.data(), 4), kind(header.data() + 8, 4);
    if (form == "RIFF" && kind == "WAVE") {
        uint32_t blockAlign = 0;
        const auto frames = WalkChunks(in, false, [&](const std::string& id, uint32_t size, const unsigned char* body) {
            if (id == "fmt ") blockAlign = Little(body + 12, 2);
            if (id != "data") return std::optional<int64_t>();
            return std::optional<int64_t>(blockAlign == 0 || Unknown(size) ? -1 : size / blockAlign);
        });
        return frames && *frames >= 0 ? frames : std::nullopt;
    }
    if (form == "FORM" && (kind == "AIFF" || kind == "AIFC"))
        return WalkChunks(in, true, [](const std::string& id, uint32_t, const unsigned char* body) {
            // numChannels (2 bytes), then numSampleFrames
            return id == "COMM" ? std::optional<int64_t>(Big(body + 2, 4)) : std::nullopt;
        });
    return std::nullopt;
}

}  // namespace stemstrip::cli

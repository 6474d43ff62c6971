// The frame count a WAV or AIFF header declares. libsndfile reads a file
// whose data was cut short as the shorter file it is and says nothing; the
// header tells how long it was meant to be.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace stemstrip::cli {

// nullopt when the file is neither, or declares no usable length (a
// streaming writer's 0 or 0xFFFFFFFF).
std::optional<int64_t> DeclaredFrames(const std::string& path);

}  // namespace stemstrip::cli

// The bundle's Turtle: manifest.ttl names the plugins and their binary,
// the description file holds every plugin's ports.
#pragma once

#include <ostream>
#include <string_view>

namespace stemstrip::lv2 {

void WriteManifest(std::ostream& out, std::string_view binaryFile, std::string_view descriptionFile);
void WriteDescription(std::ostream& out);

}  // namespace stemstrip::lv2

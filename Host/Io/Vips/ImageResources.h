// Photoshop's image resources: the blocks in which JPEG files hold IPTC records, and what else the program leaves
// beside them (Photoshop file formats specification, image resources section).
#pragma once

#include <string>
#include <string_view>

namespace Orvexa::Io::Details {

/// The resources without preview pictures, and without what follows a damaged one.
std::string CleanResources(std::string_view resources);
/// The IPTC records among the resources, empty if there are none, and what remains without them.
std::string FindIptc(std::string_view resources);
std::string WithoutIptc(std::string_view resources);
/// IPTC records as a resource. They may be followed by anything, as their length in TIFF files is not reliable.
std::string WrapIptc(std::string_view records);

}  // namespace Orvexa::Io::Details

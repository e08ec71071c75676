// What GIF files carry beside their pictures (GIF89a; XMP specification part 3, 1.1.2; ICC.1:2022 annex B).
#pragma once

#include <vips/vips8>

namespace Orvexa::Io::Details {

/// The kinds of metadata in a GIF file, bits of `MetadataKind`; libvips hands out none of it. The source must be at its
/// beginning and may be a pipe; it has to be rewound afterwards.
unsigned FindGifMetadata(const vips::VSource& source);

}  // namespace Orvexa::Io::Details

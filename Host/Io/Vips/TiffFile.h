// EXIF and IPTC in TIFF files, whose directories hold them among the tags of the picture itself.
#pragma once

#include <string>
#include <vips/vips8>

#include "Host/Io/Vips/Output.h"

namespace Orvexa::Io::Details {

/// The EXIF tags of a TIFF file as a block; empty if there are none. Of the file no more than the directories and their
/// values is read. The source has to be rewound afterwards. Throws `EffectException` for tags that cannot be
/// understood.
std::string ReadTiffExif(const vips::VSource& source);

/// Puts metadata into the TIFF file that libvips is going to write. EXIF tags stay at the offsets that they have in
/// their block, because makernotes contain such offsets: the file begins with the block, the picture follows, and a
/// directory for both ends it.
class TiffAssembly {
public:
    /// `exif` is a block, `iptc` bare IPTC records, `resources` Photoshop's; each may be empty. Writes the beginning of
    /// the file.
    TiffAssembly(Output& output, const std::string& exif, std::string iptc, std::string resources);
    /// Where libvips' file is to begin.
    std::int64_t GetBase() const { return static_cast<std::int64_t>(beginning_.size()); }
    /// Writes the end, after libvips is done.
    void Finish();

private:
    Output& output_;
    std::string beginning_, iptc_, resources_;
};

}  // namespace Orvexa::Io::Details

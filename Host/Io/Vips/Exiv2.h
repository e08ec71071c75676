// EXIF and XMP that have to be taken apart and put together anew, which exiv2 does. Whatever only travels is not
// touched by it.
//
// All functions may be called from several threads at once and throw `EffectException` for data that cannot be
// understood.
#pragma once

#include <cstddef>
#include <string>

namespace Orvexa::Io::Details {

/// The tags of a TIFF file as an EXIF block, without those that describe how its pixels are stored. Of the file's bytes
/// only the directories and their values are looked at. Makernotes are moved with their offsets. Empty if there are no
/// tags of that kind.
std::string ExtractExif(const char* tiff, std::size_t size);

/// The same of a camera raw file of any kind, without what describes the sensor's data.
std::string ExtractRawExif(const char* file, std::size_t size);

/// An EXIF block of at most 65527 bytes, what a JPEG file can hold: without the largest tags, as many as must go.
std::string ShrinkExif(const std::string& block);

/// One XMP packet of a main one and its extension.
std::string JoinXmp(const std::string& main, const std::string& extension);

struct SplitXmp {
    std::string main, extension;
    std::string guid;  ///< by which the main packet names its extension
};
/// The reverse: the largest properties go into an extension, so that the main packet has at most `limit` bytes. (XMP
/// specification part 3, 1.1.3.1.)
SplitXmp DivideXmp(const std::string& xmp, std::size_t limit);

}  // namespace Orvexa::Io::Details

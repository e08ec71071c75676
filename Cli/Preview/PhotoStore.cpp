#include "Cli/Preview/PhotoStore.h"

#include <utility>

#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"

namespace Kalvatri {

using namespace Orvexa;

PhotoStore::PhotoStore(std::vector<std::string> files, Io::ReadOptions options, Proc::FactoryPtr factory)
    : files_(std::move(files)), options_(options), factory_(std::move(factory)) {}

const std::string& PhotoStore::GetFile(std::size_t photo) const {
    if (photo >= files_.size()) ThrowUsage("choosing a photograph", "there is none of that number");
    return files_[photo];
}

PhotoInfo PhotoStore::GetInfo(std::size_t photo) {
    const std::lock_guard lock(mutex_);
    if (const auto known = infos_.find(photo); known != infos_.end()) return known->second;
    Read(photo);
    return infos_.at(photo);
}

Proc::FramePtr PhotoStore::GetPicture(std::size_t photo) {
    const std::lock_guard lock(mutex_);
    return picture_ != nullptr && last_ == photo ? picture_ : Read(photo);
}

Proc::FramePtr PhotoStore::Read(std::size_t photo) {
    picture_.reset();  // frees its memory before the next one is read
    Io::LoadedImage image = ReadPicture(GetFile(photo), options_, factory_);
    const Conf::FrameInfo& info = image.frame->GetFrameInfo();
    PhotoInfo known{{info.width, info.height}, {}, std::move(image.notes), image.frame->GetPixFmt() != PixFmt::Rgba};
    for (const Io::MetadataKind& kind : Io::GetMetadataKinds()) {
        if (image.metadata != nullptr && image.metadata->Has(kind.bit)) known.metadata.emplace_back(kind.name);
    }
    infos_[photo] = std::move(known);
    last_ = photo;
    picture_ = std::move(image.frame);
    return picture_;
}

}  // namespace Kalvatri

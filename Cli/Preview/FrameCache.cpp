#include "Cli/Preview/FrameCache.h"

#include <utility>

namespace Kalvatri {

using namespace Orvexa;

namespace {

std::size_t CountBytes(const ChainPoint& point) {
    std::size_t bytes = 0;
    for (const Proc::FramePtr& picture : point.pictures) {
        for (std::uint8_t i = 0; i < Proc::GetPlanesCount(*picture); ++i) {
            const Proc::ConstPlane plane = std::as_const(*picture).GetPlane(i);
            bytes += plane.GetWidth() * plane.GetHeight();
        }
    }
    return bytes;
}

}  // namespace

std::optional<ChainPoint> FrameCache::Find(const std::string& key) {
    const std::lock_guard lock(mutex_);
    const auto place = places_.find(key);
    if (place == places_.end()) return std::nullopt;
    entries_.splice(entries_.begin(), entries_, place->second);
    return place->second->point;
}

void FrameCache::Add(const std::string& key, ChainPoint point) {
    const std::size_t bytes = CountBytes(point);
    const std::lock_guard lock(mutex_);
    if (const auto place = places_.find(key); place != places_.end()) Remove(place->second);
    if (bytes > capacity_) return;
    while (bytes_ + bytes > capacity_) Remove(std::prev(entries_.end()));
    entries_.push_front({key, std::move(point), bytes});
    places_.emplace(key, entries_.begin());
    bytes_ += bytes;
}

void FrameCache::Clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
    places_.clear();
    bytes_ = 0;
}

void FrameCache::Remove(std::list<Entry>::iterator entry) {
    bytes_ -= entry->bytes;
    places_.erase(entry->key);
    entries_.erase(entry);
}

}  // namespace Kalvatri

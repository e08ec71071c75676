// Caches intermediate results of chains, and reduced photographs.
#pragma once

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "Cli/ChainRunner.h"

namespace Kalvatri {

/// A least-recently-used cache with a limit on the bytes of pixels. Thread safe. The pictures are shared and must not
/// be modified.
class FrameCache {
public:
    explicit FrameCache(std::size_t capacity) : capacity_(capacity) {}
    std::optional<ChainPoint> Find(const std::string& key);
    void Add(const std::string& key, ChainPoint point);
    void Clear();

private:
    struct Entry {
        std::string key;
        ChainPoint point;
        std::size_t bytes;
    };
    void Remove(std::list<Entry>::iterator entry);

    const std::size_t capacity_;
    std::mutex mutex_;          // guards the members below
    std::list<Entry> entries_;  // most recently used first
    std::unordered_map<std::string, std::list<Entry>::iterator> places_;
    std::size_t bytes_ = 0;
};

}  // namespace Kalvatri

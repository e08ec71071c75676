// What chains have come to so far, and reduced photographs.
#pragma once

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "Cli/ChainRunner.h"

namespace Kalvatri {

/// Keeps what was used last, within so many bytes of pixels. Safe to use from several threads. The pictures are shared:
/// nobody may write into them.
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
    std::mutex mutex_;          // guards what follows
    std::list<Entry> entries_;  // used last first
    std::unordered_map<std::string, std::list<Entry>::iterator> places_;
    std::size_t bytes_ = 0;
};

}  // namespace Kalvatri

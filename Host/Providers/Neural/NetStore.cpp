#include "Host/Providers/Neural/NetStore.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <mutex>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/dnn.hpp>
#include <vector>

#include "Host/Core/Threads.h"

namespace Orvexa::Proc::Neural {

namespace {

using Shape = cv::dnn::MatShape;

// Identifies a version of a file: a changed file is read again, and its old network is evicted in time.
struct Stamp {
    Core::ioPath file;
    std::filesystem::file_time_type time;
    std::uintmax_t size = 0;
    bool operator==(const Stamp&) const = default;
};

// The first line of an error message from OpenCV or the libraries below it.
std::string ReasonOf(const std::exception& exception) {
    const auto* fromOpenCv = dynamic_cast<const cv::Exception*>(&exception);
    const std::string text = fromOpenCv != nullptr ? fromOpenCv->err : exception.what();
    const std::size_t begin = text.starts_with("> ") ? 2 : 0;
    return text.substr(begin, text.find('\n') - begin);
}

Stamp StampOf(const Core::ioPath& file) {
    std::error_code error;
    Stamp stamp{std::filesystem::absolute(file, error).lexically_normal(),
                std::filesystem::last_write_time(file, error), std::filesystem::file_size(file, error)};
    if (error) Throw("The model file " + file.string() + " cannot be read: " + error.message());
    return stamp;
}

cv::dnn::Net ReadNet(const Core::ioPath& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    const std::string expected =
        "The model file " + file.string() + " cannot be loaded, it must be an ONNX model with one output";
    if (bytes.empty()) Throw(expected + ": it is empty");
    cv::dnn::Net net;
    std::size_t outputs = 0;
    try {
        net = cv::dnn::readNetFromONNX(bytes.data(), bytes.size());
        outputs = net.empty() ? 0 : net.getUnconnectedOutLayers().size();
    } catch (const std::exception& exception) {
        if (IsOutOfMemory(exception)) throw std::bad_alloc();
        Throw(expected + ": " + ReasonOf(exception));
    }
    if (outputs != 1) Throw(expected + ": it has " + std::to_string(outputs));
    net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
    net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    return net;
}

// A network that is not in use. One that has run is only reused for inputs of the same shape: when the shape changes,
// OpenCV 4.6 fuses additions into transposed convolutions a second time, and buffers would be reallocated, too.
struct Idle {
    Stamp stamp;
    cv::dnn::Net net;
    Shape shape;  // empty if it has not run
    std::size_t bytes = 0;
};

// The memory that a network holds: weights, a second copy rearranged for OpenCV's loops, and the layers' results.
std::size_t BytesOf(const cv::dnn::Net& net, const Stamp& stamp, const Shape& shape) {
    std::size_t weights = stamp.size, results = 0;
    try {
        net.getMemoryConsumption(shape, weights, results);
    } catch (const cv::Exception&) {
        results = weights;  // for a layer that cannot report its memory
    }
    return 2 * weights + results;
}

class Store {
public:
    static Store& Get() {
        static Store store;
        return store;
    }

    Idle Take(const Stamp& stamp, const Shape& shape) {
        {
            const std::lock_guard lock(mutex_);
            const auto found = std::find_if(idle_.begin(), idle_.end(), [&](const Idle& idle) {
                return idle.stamp == stamp && (idle.shape.empty() || idle.shape == shape);
            });
            if (found != idle_.end()) {
                Idle taken = std::move(*found);
                idle_.erase(found);
                return taken;
            }
        }
        return {stamp, ReadNet(stamp.file), {}, 0};
    }

    bool Has(const Stamp& stamp) {
        const std::lock_guard lock(mutex_);
        return std::any_of(idle_.begin(), idle_.end(), [&](const Idle& idle) { return idle.stamp == stamp; });
    }

    // If the limit is exceeded, networks of the file that takes the most memory are evicted, least recently used first:
    // a small network with many shapes must not push out one that takes long to load.
    void Put(Idle&& idle) {
        const std::lock_guard lock(mutex_);
        idle_.push_front(std::move(idle));
        while (true) {
            std::map<Core::ioPath, std::size_t> bytes;
            std::size_t all = 0;
            for (const Idle& each : idle_) {
                bytes[each.stamp.file] += each.bytes;
                all += each.bytes;
            }
            if (all <= kMaxBytes) break;
            const auto largest = std::max_element(bytes.begin(), bytes.end(),
                                                  [](const auto& a, const auto& b) { return a.second < b.second; });
            const auto oldest = std::find_if(idle_.rbegin(), idle_.rend(),
                                             [&](const Idle& each) { return each.stamp.file == largest->first; });
            idle_.erase(std::next(oldest).base());
        }
    }

    void Clear() {
        const std::lock_guard lock(mutex_);
        idle_.clear();
    }

private:
    // Errors are reported as exceptions.
    Store() { cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT); }

    static constexpr std::size_t kMaxBytes = std::size_t{256} << 20;  // of idle networks

    std::mutex mutex_;
    std::list<Idle> idle_;  // most recently used first
};

}  // namespace

bool IsOutOfMemory(const std::exception& exception) {
    const auto* fromOpenCv = dynamic_cast<const cv::Exception*>(&exception);
    return dynamic_cast<const std::bad_alloc*>(&exception) != nullptr ||
           (fromOpenCv != nullptr && fromOpenCv->code == cv::Error::StsNoMem);
}

std::string ShapeOf(const cv::Mat& blob) {
    std::string shape;
    for (int i = 0; i < blob.dims; ++i) shape += (i == 0 ? "" : " x ") + std::to_string(blob.size[i]);
    return shape;
}

void LoadNet(const Core::ioPath& file) {
    const Stamp stamp = StampOf(file);
    if (Store::Get().Has(stamp)) return;
    Store::Get().Put({stamp, ReadNet(file), {}, 2 * stamp.size});
}

struct Nets::Crew {
    const Core::ioPath file;
    std::mutex mutex;
    std::list<Idle> idle;  // guarded by the mutex

    Idle Take(const Shape& shape) {
        {
            const std::lock_guard lock(mutex);
            const auto found =
                std::find_if(idle.begin(), idle.end(), [&](const Idle& each) { return each.shape == shape; });
            if (found != idle.end()) {
                Idle taken = std::move(*found);
                idle.erase(found);
                return taken;
            }
        }
        return Store::Get().Take(StampOf(file), shape);
    }
};

Nets::Nets(const Core::ioPath& file) : crew_(new Crew{file, {}, {}}) {}

Nets::~Nets() {
    for (Idle& idle : crew_->idle) Store::Get().Put(std::move(idle));
}

cv::Mat Nets::Run(const cv::Mat& input) {
    const Core::OnCallingThread alone;
    const Shape shape(input.size.p, input.size.p + input.dims);
    cv::Mat output;
    try {
        Idle idle = crew_->Take(shape);
        idle.net.setInput(input);
        idle.net.forward().convertTo(output, CV_32F);  // a copy: the network reuses its own
        if (idle.shape.empty()) {
            idle.shape = shape;
            idle.bytes = BytesOf(idle.net, idle.stamp, shape);
        }
        const std::lock_guard lock(crew_->mutex);
        crew_->idle.push_back(std::move(idle));
    } catch (const EffectException&) {
        throw;
    } catch (const std::exception& exception) {
        if (IsOutOfMemory(exception)) {
            Store::Get().Clear();
            throw std::bad_alloc();
        }
        Throw("The model " + crew_->file.string() + " cannot take an input of " + ShapeOf(input) + ": " +
              ReasonOf(exception));
    }
    return output;
}

}  // namespace Orvexa::Proc::Neural

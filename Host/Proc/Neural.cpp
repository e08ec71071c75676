#include "Host/Proc/Neural.h"

#include <string>

#include "Host/Core/Exception.h"
#include "Host/Proc/Libraries.h"
#include "Host/Proc/NeuralRuntime.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr const char* kKindNames[] = {"a float vector", "a byte vector", "a flag", "a double",
                                      "an image"};  // as in NeuralResult::Value

NeuralRuntime& Runtime(ImplName impl) {
    if (impl != ImplName::Default && impl != ImplName::OpenCv) {
        Throw("Neural implementation " + std::to_string(static_cast<int>(impl)) +
              " is not supported! It must be 0 or 1.");
    }
    return GetProvided<NeuralRuntime>();
}

template <class T>
T Get(const NeuralResult::Value& value) {
    if (const T* held = std::get_if<T>(&value)) return *held;
    Throw("The network gives " + std::string(kKindNames[value.index()]) + ", not " +
          kKindNames[NeuralResult::Value(std::in_place_type<T>).index()] + "!");
}

}  // namespace

std::vector<float> NeuralResult::GetFloatVectorResult() const { return Get<std::vector<float>>(value_); }
std::vector<unsigned char> NeuralResult::GetUint8VectorResult() const {
    return Get<std::vector<unsigned char>>(value_);
}
bool NeuralResult::GetBool() const { return Get<bool>(value_); }
double NeuralResult::GetDouble() const { return Get<double>(value_); }
FramePtr NeuralResult::GetFrame() const { return Get<FramePtr>(value_); }

std::shared_ptr<NeuralBase> CreateNeural(NeuralType type, ImplName impl, const Core::ioPath& modelsRoot) {
    return Runtime(impl).Create(type, modelsRoot);
}

std::shared_ptr<NeuralBase> CreateImageNeural(ModelFileId id, ImplName impl, const Core::ioPath& modelsRoot,
                                              const AllocatorPtr& allocator) {
    return Runtime(impl).Create(id, modelsRoot, allocator);
}

Core::ioPath GetModelsDirectory() {
    return (GetPluginDirectory().parent_path() / ORVEXA_MODELS_SUBDIR).lexically_normal();
}

}  // namespace Orvexa::Proc::Neural

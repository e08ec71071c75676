#include "Host/Proc/Neural.h"

#include <string>

#include "Host/Core/Exception.h"
#include "Host/Proc/Libraries.h"
#include "Host/Proc/NeuralRuntime.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr const char* kKindNames[] = {"a float vector", "a byte vector", "a flag",
                                      "a double"};  // as in NeuralResult::Value

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

void RequireImplementation(ImplName impl) {
    if (impl == ImplName::Default || impl == ImplName::OpenCv) return;
    Throw("Neural implementation " + std::to_string(static_cast<int>(impl)) + " is not supported! It must be 0 or 1.");
}

std::shared_ptr<NeuralBase> CreateNeural(NeuralType type, ImplName impl, const Core::ioPath& modelsRoot) {
    RequireImplementation(impl);
    return GetProvided<NeuralRuntime>().Create(type, modelsRoot);
}

Core::ioPath GetModelsDirectory() {
    return (GetPluginDirectory().parent_path() / ORVEXA_MODELS_SUBDIR).lexically_normal();
}

}  // namespace Orvexa::Proc::Neural

// Libraries loaded at run time: effect modules and libraries that the host itself loads on demand.
#pragma once

#include "Host/Core/Path.h"
#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc {

/// Loads an effect module and lets it register its effects. The module stays loaded until the process ends. Throws
/// `EffectException` if the file is missing, cannot be loaded or lacks the function `Registrator`.
void LoadModule(const Core::ioPath& file, IEffectFactory& factory);

/// The directory of the libraries loaded at run time: effect modules and providers.
Core::ioPath GetPluginDirectory();

/// The address of `symbol` in the shared library `file`, which stays loaded; throws `EffectException`.
void* LoadSymbol(const Core::ioPath& file, const char* symbol);
template <class Function>
Function* LoadFunction(const Core::ioPath& file, const char* symbol) {
    return reinterpret_cast<Function*>(LoadSymbol(file, symbol));
}

/// The object provided by one of the host's own libraries. `Interface` names the library as `kLibrary` and, as
/// `kFunction`, the function in it that returns a reference to the object, which lives as long as the process.
template <class Interface>
Interface& GetProvided() {
    static Interface& provided =
        LoadFunction<Interface&()>(GetPluginDirectory() / Interface::kLibrary, Interface::kFunction)();
    return provided;
}

}  // namespace Orvexa::Proc

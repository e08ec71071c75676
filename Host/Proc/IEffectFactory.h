// The factory through which hosts and effects obtain effects.
#pragma once

#include <string>
#include <vector>

#include "Host/Conf/ImplNames.h"
#include "Host/Proc/IEffect.h"

namespace Orvexa::Proc {

class IEffectFactory;
using FactoryPtr = boost::intrusive_ptr<IEffectFactory>;

/// Creators are plain functions: they create the effect with the factory and the frame allocator that it is to use.
using OneInputCreator = OneInputPtr(const FactoryPtr& factory, const AllocatorPtr& allocator);
using TwoInputCreator = TwoInputPtr(const FactoryPtr& factory, const AllocatorPtr& allocator);
using VarInputCreator = VarInputPtr(const FactoryPtr& factory, const AllocatorPtr& allocator);

/// The body of every creator: creates the effect and takes the first reference to it.
template <class Effect>
boost::intrusive_ptr<typename Effect::Interface> MakeEffect(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return boost::intrusive_ptr<typename Effect::Interface>(new Core::RefCounted<Effect>(factory, allocator));
}

enum class EffectKind { OneInput, TwoInput, VarInput };

/// One row of the factory's table, in the order of registration.
struct Registration {
    EffectKind kind;
    std::string classId;
    std::string implName;
};

class IEffectFactory : public virtual Core::IRefCountable {
public:
    /// Registers a creator under a class identifier and an implementation name; an earlier creator of the same name is
    /// replaced in its place. `reserved` must be 0. Returns whether the name was new.
    virtual bool RegisterOneInputEffect(const std::string& classId, const std::string& implName,
                                        OneInputCreator* creator, std::uintptr_t reserved) = 0;
    virtual bool RegisterTwoInputEffect(const std::string& classId, const std::string& implName,
                                        TwoInputCreator* creator, std::uintptr_t reserved) = 0;
    virtual bool RegisterVarInputEffect(const std::string& classId, const std::string& implName,
                                        VarInputCreator* creator, std::uintptr_t reserved) = 0;

    /// Creates an effect. `ImplNames::DEFAULT` stands for the implementation marked as default, else for the module's
    /// (`ImplNames::ORVEXA`), else for the first of the host's. If `allocator` is empty, the effect gets the factory's
    /// own. A request that cannot be satisfied throws `EffectException` naming the class identifier.
    virtual void CreateOneInputEffect(OneInputPtr& out, const std::string& classId, const std::string& implName,
                                      const AllocatorPtr& allocator) = 0;
    virtual void CreateTwoInputEffect(TwoInputPtr& out, const std::string& classId, const std::string& implName,
                                      const AllocatorPtr& allocator) = 0;
    virtual void CreateVarInputEffect(VarInputPtr& out, const std::string& classId, const std::string& implName,
                                      const AllocatorPtr& allocator) = 0;

    /// Names a library that registers the implementation of `classId` under `implName` and is loaded when that is first
    /// requested.
    virtual void RegisterProvider(EffectKind kind, const std::string& classId, const std::string& implName,
                                  const std::string& library) = 0;

    /// Makes a registered implementation the one that `ImplNames::DEFAULT` stands for, even if the module has one.
    virtual void MarkDefault(EffectKind kind, const std::string& classId, const std::string& implName) = 0;

    virtual std::vector<Registration> GetRegistrations() const = 0;
    /// The allocator for effects whose request does not specify one.
    virtual const AllocatorPtr& GetAllocator() const = 0;
};

}  // namespace Orvexa::Proc

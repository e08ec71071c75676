#include "Host/Proc/EffectFactory.h"

#include <algorithm>

#include "Host/Core/Exception.h"
#include "Host/Core/Vectors.h"
#include "Host/Proc/VideoFrame.h"

namespace Orvexa::Proc {

namespace {

constexpr const char* kKindNames[] = {"one-input", "two-input", "variable-input"};
using Erased = void (*)();

}  // namespace

EffectFactory::EffectFactory(AllocatorPtr allocator)
    : allocator_(allocator != nullptr ? std::move(allocator) : AllocatorPtr(Core::MakeRefCounted<FrameAllocator>())) {}

bool EffectFactory::Register(EffectKind kind, const std::string& classId, const std::string& implName, Erased creator,
                             const std::string& library) {
    const std::lock_guard lock(mutex_);
    const auto same = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) {
        return row.registration.kind == kind && row.registration.classId == classId &&
               row.registration.implName == implName;
    });
    Row row{{kind, classId, implName}, creator, library};
    if (same != rows_.end()) {
        row.isDefault = same->isDefault;
        *same = std::move(row);
        return false;
    }
    rows_.push_back(std::move(row));
    return true;
}

bool EffectFactory::RegisterOneInputEffect(const std::string& classId, const std::string& implName,
                                           OneInputCreator* creator, std::uintptr_t) {
    return Register(EffectKind::OneInput, classId, implName, reinterpret_cast<Erased>(creator), {});
}
bool EffectFactory::RegisterTwoInputEffect(const std::string& classId, const std::string& implName,
                                           TwoInputCreator* creator, std::uintptr_t) {
    return Register(EffectKind::TwoInput, classId, implName, reinterpret_cast<Erased>(creator), {});
}
bool EffectFactory::RegisterVarInputEffect(const std::string& classId, const std::string& implName,
                                           VarInputCreator* creator, std::uintptr_t) {
    return Register(EffectKind::VarInput, classId, implName, reinterpret_cast<Erased>(creator), {});
}
void EffectFactory::RegisterProvider(EffectKind kind, const std::string& classId, const std::string& implName,
                                     const std::string& library) {
    Register(kind, classId, implName, nullptr, library);
}

void EffectFactory::MarkDefault(EffectKind kind, const std::string& classId, const std::string& implName) {
    const std::lock_guard lock(mutex_);
    RequireRow(kind, classId, implName).isDefault = true;
}

EffectFactory::Row& EffectFactory::RequireRow(EffectKind kind, const std::string& classId,
                                              const std::string& implName) {
    const auto rank = [&](const Row& row) {
        if (row.registration.kind != kind || row.registration.classId != classId) return 0;
        if (implName != ImplNames::DEFAULT) return row.registration.implName == implName ? 1 : 0;
        return row.isDefault ? 3 : row.registration.implName == ImplNames::ORVEXA ? 2 : 1;
    };
    const auto best =
        std::max_element(rows_.begin(), rows_.end(), [&](const Row& a, const Row& b) { return rank(a) < rank(b); });
    if (best == rows_.end() || rank(*best) == 0) {
        Throw("There is no " + std::string(kKindNames[static_cast<int>(kind)]) + " effect " + classId +
              " of the implementation " + implName + "!");
    }
    return *best;
}

template <class Creator>
Creator* EffectFactory::FindCreator(EffectKind kind, const std::string& classId, const std::string& implName) {
    const std::lock_guard lock(mutex_);
    if (const Row& row = RequireRow(kind, classId, implName); row.creator == nullptr) {
        LoadFunction<void(IEffectFactory*)>(GetPluginDirectory() / row.library, "RegisterProvider")(this);
    }
    const Row& row = RequireRow(kind, classId, implName);
    if (row.creator == nullptr) Throw("The library " + row.library + " does not provide " + classId + "!");
    return reinterpret_cast<Creator*>(row.creator);
}

void EffectFactory::CreateOneInputEffect(OneInputPtr& out, const std::string& classId, const std::string& implName,
                                         const AllocatorPtr& allocator) {
    out = FindCreator<OneInputCreator>(EffectKind::OneInput, classId, implName)(FactoryPtr(this),
                                                                                allocator ? allocator : allocator_);
}
void EffectFactory::CreateTwoInputEffect(TwoInputPtr& out, const std::string& classId, const std::string& implName,
                                         const AllocatorPtr& allocator) {
    out = FindCreator<TwoInputCreator>(EffectKind::TwoInput, classId, implName)(FactoryPtr(this),
                                                                                allocator ? allocator : allocator_);
}
void EffectFactory::CreateVarInputEffect(VarInputPtr& out, const std::string& classId, const std::string& implName,
                                         const AllocatorPtr& allocator) {
    out = FindCreator<VarInputCreator>(EffectKind::VarInput, classId, implName)(FactoryPtr(this),
                                                                                allocator ? allocator : allocator_);
}

std::vector<Registration> EffectFactory::GetRegistrations() const {
    const std::lock_guard lock(mutex_);
    std::vector<Registration> registrations;
    for (const Row& row : rows_) registrations.push_back(row.registration);
    return registrations;
}

FactoryPtr MakeHostFactory(AllocatorPtr allocator) {
    Core::ChooseVectors();
    FactoryPtr factory = Core::MakeRefCounted<EffectFactory>(std::move(allocator));
    RegisterHostEffects(*factory);
    return factory;
}

}  // namespace Orvexa::Proc

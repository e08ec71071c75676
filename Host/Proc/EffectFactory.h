// The host's effect factory.
#pragma once

#include <map>
#include <mutex>
#include <utility>

#include "Host/Proc/IEffectFactory.h"
#include "Host/Proc/Libraries.h"

namespace Orvexa::Proc {

/// May create effects on several threads. The factory does not own itself: hold it in an intrusive pointer before use.
class EffectFactory : public IEffectFactory {
public:
    /// If `allocator` is empty, the factory creates its own.
    explicit EffectFactory(AllocatorPtr allocator = {});

    bool RegisterOneInputEffect(const std::string& classId, const std::string& implName, OneInputCreator* creator,
                                std::uintptr_t reserved) override;
    bool RegisterTwoInputEffect(const std::string& classId, const std::string& implName, TwoInputCreator* creator,
                                std::uintptr_t reserved) override;
    bool RegisterVarInputEffect(const std::string& classId, const std::string& implName, VarInputCreator* creator,
                                std::uintptr_t reserved) override;
    void CreateOneInputEffect(OneInputPtr& out, const std::string& classId, const std::string& implName,
                              const AllocatorPtr& allocator) override;
    void CreateTwoInputEffect(TwoInputPtr& out, const std::string& classId, const std::string& implName,
                              const AllocatorPtr& allocator) override;
    void CreateVarInputEffect(VarInputPtr& out, const std::string& classId, const std::string& implName,
                              const AllocatorPtr& allocator) override;
    void RegisterProvider(EffectKind kind, const std::string& classId, const std::string& implName,
                          const std::string& library) override;
    void MarkDefault(EffectKind kind, const std::string& classId, const std::string& implName) override;
    std::vector<Registration> GetRegistrations() const override;
    const AllocatorPtr& GetAllocator() const override { return allocator_; }

private:
    struct Row {
        Registration registration;
        void (*creator)() = nullptr;  // its type is determined by the kind; null until the provider is loaded
        std::string library;
        bool isDefault = false;
    };

    bool Register(EffectKind kind, const std::string& classId, const std::string& implName, void (*creator)(),
                  const std::string& library);
    template <class Creator>
    Creator* FindCreator(EffectKind kind, const std::string& classId, const std::string& implName);
    Row& RequireRow(EffectKind kind, const std::string& classId, const std::string& implName);

    AllocatorPtr allocator_;
    mutable std::recursive_mutex mutex_;  // a provider registers itself while a creator is being looked up
    std::vector<Row> rows_;
};

/// A factory with all of the host's own sub-effects registered.
FactoryPtr MakeHostFactory(AllocatorPtr allocator = {});

/// Registers the host's own sub-effects.
void RegisterHostEffects(IEffectFactory& factory);

}  // namespace Orvexa::Proc

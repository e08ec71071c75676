// The interfaces of effects.
#pragma once

#include <boost/throw_exception.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "Host/Core/Progress.h"
#include "Host/Core/Property.h"
#include "Host/Proc/IData.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

using Core::ProgressPtr;
using Core::TimeToProgress;

/// Common to all effects. An effect must be used by one caller at a time.
class IEffect : public virtual Core::IRefCountable {
public:
    virtual Core::Property GetProperties() const = 0;
    /// Copies `settings`, which must be of the effect's own settings class: any other throws `std::bad_cast`.
    virtual void SetSettings(const Settings& settings) = 0;
    virtual void Refresh() = 0;
    virtual void ResetSettings() = 0;
    virtual Core::Property GetStatistic() const = 0;
    virtual const Settings& GetSettingsBase() const = 0;
    virtual void SetProgressController(const ProgressPtr& controller) { progressController_ = controller; }
    virtual const TimeToProgress& GetProgress() const { return progress_; }
    virtual TimeToProgress& GetProgress() { return progress_; }
    virtual void SetProgress(const TimeToProgress& progress) { progress_ = progress; }
    virtual bool QueryCapability() const = 0;
    /// Informs the effect of an event in the host, whose number and meaning are defined by the host; an effect with
    /// sub-effects may pass it on.
    virtual void Notify(std::uintptr_t /*event*/) {}

protected:
    /// The caller's progress controller; may be empty.
    const ProgressPtr& GetProgressController() const { return progressController_; }

private:
    ProgressPtr progressController_;
    TimeToProgress progress_;
};

/// Lends a frame reference to `use` as a reference of another pointer type, without holding a second reference, and
/// takes back what it holds afterwards, even if `use` throws.
template <class To, class From, class Use>
void LendAs(boost::intrusive_ptr<From>& reference, Use&& use) {
    struct Lent {
        boost::intrusive_ptr<From>& owner;
        boost::intrusive_ptr<To> lent;
        explicit Lent(boost::intrusive_ptr<From>& from) : owner(from) {
            if (from != nullptr) {
                lent = boost::intrusive_ptr<To>(&dynamic_cast<To&>(*from));
                owner.reset();
            }
        }
        // Everything that goes in or comes out is a frame of this host, so the cast back cannot fail.
        ~Lent() { owner = boost::dynamic_pointer_cast<From>(lent); }
    } guard(reference);
    use(guard.lent);
}

/// Processes one data item in place, or replaces it in the caller's reference.
class IOneInputEffect : public IEffect {
public:
    virtual void ProcessData(DataPtr& data) = 0;
    /// The same for a vector, which must hold exactly one item; otherwise `std::logic_error` "invalid data count".
    virtual DataPtr ProcessData(const std::vector<DataPtr>& data) {
        if (data.size() != 1) throw std::logic_error("invalid data count");
        DataPtr result = data[0];
        ProcessData(result);
        return result;
    }
};

class IOneInputEffectVideo : public virtual IOneInputEffect {
public:
    using IOneInputEffect::ProcessData;
    /// The same on a frame reference.
    virtual void ProcessData(FramePtr& frame) {
        LendAs<IData>(frame, [this](DataPtr& data) { ProcessData(data); });
    }
};

/// Processes a data item with a second, read-only one.
class ITwoInputEffect : public IEffect {
public:
    virtual void ProcessData(DataPtr& data, const ConstDataPtr& second) = 0;
    /// The same for a vector, which must hold exactly two items; otherwise `std::logic_error` "invalid data count".
    virtual DataPtr ProcessData(const std::vector<DataPtr>& data) {
        if (data.size() != 2) {
            boost::throw_exception(std::logic_error("invalid data count"), kVectorFormLocation);
        }
        DataPtr result = data[0];
        ProcessData(result, data[1]);
        return result;
    }

private:
    static constexpr boost::source_location kVectorFormLocation{
        "Host/Proc/IEffect.h", 24, "ITwoInputEffect::ProcessData(const std::vector<boost::intrusive_ptr<IData>>&)"};
};

class ITwoInputEffectVideo : public virtual ITwoInputEffect {
public:
    using ITwoInputEffect::ProcessData;
    virtual void ProcessData(FramePtr& frame, const ConstFramePtr& second) {
        LendAs<IData>(frame, [&](DataPtr& data) { ProcessData(data, ConstDataPtr(second)); });
    }
};

/// Turns many data items into one, or one into many: an effect may empty the vector, fill it with its results and
/// return an empty pointer.
class IVarInputEffect : public IEffect {
public:
    virtual DataPtr Process(std::vector<DataPtr>& data) = 0;
};

class IVarInputEffectVideo : public virtual IVarInputEffect {};

using OneInputPtr = boost::intrusive_ptr<IOneInputEffectVideo>;
using TwoInputPtr = boost::intrusive_ptr<ITwoInputEffectVideo>;
using VarInputPtr = boost::intrusive_ptr<IVarInputEffectVideo>;

}  // namespace Orvexa::Proc

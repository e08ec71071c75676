// The template bases of the host's own sub-effects.
//
// A sub-effect derives from HostOneInput or HostTwoInput with its settings class, implements Process, and is visible
// outside its file only as a creator made with MakeEffect; one row in RegisterHostEffects.cpp registers it.
#pragma once

#include <string>

#include "Host/Proc/SettingsEffect.h"

namespace Orvexa::Proc {

/// Settings and statistics, common to all sub-effects.
template <class InterfaceT, class SettingsT>
class HostEffect : public SettingsEffect<InterfaceT, SettingsT> {
public:
    using SettingsEffect<InterfaceT, SettingsT>::SettingsEffect;

    void SetSettings(const Settings& settings) override { this->settings_ = dynamic_cast<const SettingsT&>(settings); }

    Core::Property GetStatistic() const override {
        const std::string name = SettingsT::CLASS_ID + "_" + GetImplName();
        Core::Property statistics = Core::MakeStatistics(name, 0, this->processedCount_);
        statistics.SetChild(Core::PerformanceTimer::IMPL_NAME, name);
        return statistics;
    }

protected:
    /// The implementation name under which the effect is registered.
    virtual const std::string& GetImplName() const { return ImplNames::HOST; }
};

/// A sub-effect on one frame.
template <class SettingsT>
class HostOneInput : public HostEffect<IOneInputEffectVideo, SettingsT> {
public:
    using HostEffect<IOneInputEffectVideo, SettingsT>::HostEffect;
    using IOneInputEffectVideo::ProcessData;

    void ProcessData(DataPtr& data) override {
        this->KeepTiming(data, [this](FramePtr& frame) { Process(frame); });
        ++this->processedCount_;
    }

protected:
    /// Stores the result in `frame`: a new frame, or the same one if there is nothing to do. Pixels that anyone else
    /// can see must not be changed; check `IsExclusive`.
    virtual void Process(FramePtr& frame) = 0;
};

/// A sub-effect that generates a frame, replacing whatever the caller's reference holds.
template <class SettingsT>
class HostGenerator : public HostEffect<IOneInputEffectVideo, SettingsT> {
public:
    using HostEffect<IOneInputEffectVideo, SettingsT>::HostEffect;
    using IOneInputEffectVideo::ProcessData;

    void ProcessData(DataPtr& data) override {
        FramePtr frame = Generate();
        frame->SetTimestamp(0);
        frame->SetDuration(kGeneratedDuration);
        data = std::move(frame);
        ++this->processedCount_;
    }

protected:
    virtual FramePtr Generate() = 0;

private:
    static constexpr std::int64_t kGeneratedDuration = 40000;
};

/// A sub-effect on a frame with a second, read-only one.
template <class SettingsT>
class HostTwoInput : public HostEffect<ITwoInputEffectVideo, SettingsT> {
public:
    using HostEffect<ITwoInputEffectVideo, SettingsT>::HostEffect;
    using ITwoInputEffectVideo::ProcessData;

    void ProcessData(DataPtr& data, const ConstDataPtr& second) override {
        const ConstFramePtr secondFrame = boost::dynamic_pointer_cast<const IDataVideo>(second);
        this->RequireFrame(secondFrame);
        this->KeepTiming(data, [&](FramePtr& frame) { Process(frame, secondFrame); });
        ++this->processedCount_;
    }

protected:
    /// As `HostOneInput::Process`.
    virtual void Process(FramePtr& frame, const ConstFramePtr& second) = 0;
};

}  // namespace Orvexa::Proc

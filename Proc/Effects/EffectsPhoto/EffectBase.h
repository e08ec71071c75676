// The template bases of all effects.
//
// An effect derives from EffectBaseOneInput, EffectBaseTwoInput or EffectBaseVarInput with its settings class and
// implements ProcessInternalImpl. An algorithm written for specific pixel formats derives from EffectBaseCSCOneInput
// instead, lists its formats in GetWorkingPixFmts and implements ProcessInternalCSC; EffectBaseCSCLuma also restores
// the picture's luma afterwards. Sub-effects are members with a default initialiser, CreateOneInput<...>(); state
// derived from the settings is updated in ApplySettings.
#pragma once

#include <glog/logging.h>

#include <concepts>
#include <string>
#include <vector>

#include "Host/Proc/SettingsEffect.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Orvexa::Proc {

namespace Details {

// Tools identify log lines by their location, which therefore stays fixed when this file changes.
inline constexpr char kLogFile[] = "Proc/Effects/EffectsPhoto/EffectBase.h";
inline constexpr int kLogVerbosity = 30;

struct LogLines {
    int starts, isEmpty, done;
};
inline constexpr LogLines kOneInputLines{111, 114, 125};
inline constexpr LogLines kTwoInputLines{143, 146, 153};
inline constexpr LogLines kVarInputLines{171, 174, 181};

template <class Interface>
inline constexpr const char* kInterfaceName = nullptr;
template <>
inline constexpr const char* kInterfaceName<IOneInputEffectVideo> = "IOneInputEffectVideo";
template <>
inline constexpr const char* kInterfaceName<ITwoInputEffectVideo> = "ITwoInputEffectVideo";
template <>
inline constexpr const char* kInterfaceName<IVarInputEffectVideo> = "IVarInputEffectVideo";

}  // namespace Details

/// Settings, statistics and logging, common to all effects.
template <class InterfaceT, class SettingsT>
class EffectBase : public SettingsEffect<InterfaceT, SettingsT> {
public:
    using SettingsEffect<InterfaceT, SettingsT>::SettingsEffect;

    void SetSettings(const Settings& settings) override { SetSettings(dynamic_cast<const SettingsT&>(settings)); }

    Core::Property GetStatistic() const override {
        std::string name = "Orvexa::Proc::EffectBase<class Orvexa::Proc::";
        name.append(Details::kInterfaceName<InterfaceT>).append(",class Orvexa::Proc::").append(SettingsT::kClassName);
        name += ">::GetStatistic";
        Core::Property statistics = Core::MakeStatistics(name, statisticTotal_, this->processedCount_);
        statistics.SetChild(Core::PerformanceTimer::IMPL_NAME, GetLogName());
        AddStatistics(statistics);
        return statistics;
    }

    /// Takes the settings if they differ from the current ones, then calls `ApplySettings`.
    virtual void SetSettings(const SettingsT& settings) {
        CheckSettings(settings);
        const bool areNew = AreNew(settings);
        if (areNew) ReplaceSettings(settings);
        ApplySettings(areNew);
    }

protected:
    /// Throws if the effect cannot work with these settings; they are then not taken.
    virtual void CheckSettings(const SettingsT&) const {}

    /// Whether the settings differ from the current ones; those of a class without equality always do.
    virtual bool AreNew(const SettingsT& settings) const {
        if constexpr (std::equality_comparable<SettingsT>) return !(this->settings_ == settings);
        return true;
    }

    /// Updates what depends on the settings, such as the sub-effects. Called whenever settings are set, even if they
    /// are not new.
    virtual void ApplySettings(bool /*areNew*/) {}

    /// An effect's own additions to its statistics.
    virtual void AddStatistics(Core::Property&) const {}

    /// Lets the effect discard what depends on its settings, then takes the new ones.
    void ReplaceSettings(SettingsT settings) {
        this->ResetSettings();
        this->settings_ = std::move(settings);
    }

    /// Runs `process` between the log lines, or not at all if the settings have no effect, and counts the calls.
    template <class Process>
    void RunLogged(const Details::LogLines& lines, Process&& process) {
        Log(lines.starts, " starts");
        if (static_cast<const Settings&>(this->settings_).IsEmpty()) {
            Log(lines.isEmpty, " is empty");
            return;
        }
        process();
        ++this->processedCount_;
        Log(lines.done, " done");
    }

private:
    static std::string GetLogName() { return SettingsT::CLASS_ID + "_" + ImplNames::ORVEXA; }
    static void Log(int line, const char* event) {
        if (FLAGS_v >= Details::kLogVerbosity)
            google::LogMessage(Details::kLogFile, line).stream() << GetLogName() << event;
    }

    std::int64_t statisticTotal_ = 0;
};

/// One frame, processed in place or replaced. Its timing is preserved.
template <class SettingsT>
class EffectBaseOneInput : public EffectBase<IOneInputEffectVideo, SettingsT> {
public:
    using EffectBase<IOneInputEffectVideo, SettingsT>::EffectBase;
    using IOneInputEffectVideo::ProcessData;

    void ProcessData(DataPtr& data) override {
        this->RunLogged(Details::kOneInputLines,
                        [&] { this->KeepTiming(data, [this](FramePtr& frame) { ProcessInternalImpl(frame); }); });
    }

protected:
    virtual void ProcessInternalImpl(FramePtr& frame) = 0;
};

/// One frame, processed in place or replaced, using a second one that is read-only.
template <class SettingsT>
class EffectBaseTwoInput : public EffectBase<ITwoInputEffectVideo, SettingsT> {
public:
    using EffectBase<ITwoInputEffectVideo, SettingsT>::EffectBase;
    using ITwoInputEffectVideo::ProcessData;

    void ProcessData(DataPtr& data, const ConstDataPtr& second) override {
        this->RunLogged(Details::kTwoInputLines, [&] {
            const ConstFramePtr secondFrame = boost::dynamic_pointer_cast<const IDataVideo>(second);
            this->RequireFrame(data);
            if (this->settings_.NeedsSecondInput()) this->RequireFrame(secondFrame);
            LendAs<IDataVideo>(data, [&](FramePtr& frame) { ProcessInternalImpl(frame, secondFrame); });
        });
    }

protected:
    virtual void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& second) = 0;
};

/// Takes many frames and returns one, or returns an empty pointer and leaves the results in the vector.
template <class SettingsT>
class EffectBaseVarInput : public EffectBase<IVarInputEffectVideo, SettingsT> {
public:
    using EffectBase<IVarInputEffectVideo, SettingsT>::EffectBase;

    DataPtr Process(std::vector<DataPtr>& data) override {
        DataPtr result;
        this->RunLogged(Details::kVarInputLines, [&] {
            this->RequireFrame(data.empty() ? DataPtr() : data.front());
            for (const DataPtr& item : data) this->RequireFrame(item);
            result = ProcessInternalImpl(data);
        });
        return result;
    }

protected:
    virtual DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) = 0;
};

/// A grey frame with a copy of a frame's plane 0: its luma alone, so that the whole frame need not be kept.
inline FramePtr TakeLuma(const IDataVideo& frame, const AllocatorPtr& allocator) {
    FramePtr luma = NewFrame(allocator, PixFmt::Gray8, frame.GetFrameInfo());
    CopyPlane(frame.GetPlane(0), luma->GetPlane(0));
    return luma;
}

/// Copies the grey frame `luma` into plane 0 of a frame of the same size.
inline void PutLuma(const IDataVideo& luma, IDataVideo& frame) { CopyPlane(luma.GetPlane(0), frame.GetPlane(0)); }

/// Converts frames to one of the effect's working formats and back.
template <class Base>
class EffectBaseCSC : public Base {
public:
    using Base::Base;

    void Notify(std::uintptr_t event) override {
        if (isConvertIn_ && forwardConverter_ != nullptr) forwardConverter_->Notify(event);
        if (IsConvertBack()) backConverter_->Notify(event);
    }

protected:
    /// Whether the result is converted back to the format of the input.
    virtual bool IsConvertBack() const { return true; }
    /// The formats that the algorithm supports.
    virtual const std::vector<PixFmt>& GetWorkingPixFmts() const {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24};
        return formats;
    }

    void ConvertIn(FramePtr& frame) {
        if (frame->GetPixFmt() != inputPixFmt_) {
            backSourcePixFmt_ = PixFmt::None;
            inputPixFmt_ = frame->GetPixFmt();
            const std::vector<PixFmt>& formats = GetWorkingPixFmts();
            isConvertIn_ = !formats.empty();
            if (isConvertIn_) {
                if (forwardConverter_ == nullptr)
                    forwardConverter_ = this->template CreateOneInput<SettingsColorspaceConverter>();
                forwardConverter_->SetSettings(SettingsColorspaceConverter(formats, true));
            }
        }
        // A frame in a working format passes through the converter, too, unchanged.
        ConvertToWorking(frame);
    }

    /// Converts a frame created by the algorithm to a working format. Only after `ConvertIn`.
    void ConvertToWorking(FramePtr& frame) {
        if (isConvertIn_) forwardConverter_->ProcessData(frame);
    }

    void ConvertBack(FramePtr& frame) {
        if (frame->GetPixFmt() == inputPixFmt_ || !IsConvertBack()) return;
        if (frame->GetPixFmt() != backSourcePixFmt_) {
            backSourcePixFmt_ = frame->GetPixFmt();
            backConverter_->SetSettings(SettingsColorspaceConverter(inputPixFmt_, true));
        }
        backConverter_->ProcessData(frame);
    }

private:
    bool isConvertIn_ = true;
    OneInputPtr forwardConverter_;
    OneInputPtr backConverter_ = this->template CreateOneInput<SettingsColorspaceConverter>();
    PixFmt inputPixFmt_ = PixFmt::None;
    PixFmt backSourcePixFmt_ = PixFmt::None;
};

/// One frame in a working format, together with the caller's unconverted frame. A call that fails before the
/// unconverted frame is released leaves that frame in the caller's reference.
template <class SettingsT>
class EffectBaseCSCOneInput : public EffectBaseCSC<EffectBaseOneInput<SettingsT>> {
public:
    using EffectBaseCSC<EffectBaseOneInput<SettingsT>>::EffectBaseCSC;

protected:
    void ProcessInternalImpl(FramePtr& frame) override {
        struct Guard {
            FramePtr& frame;
            ConstFramePtr& input;
            bool isDone = false;
            ~Guard() {
                if (!isDone && input != nullptr) frame = boost::const_pointer_cast<IDataVideo>(input);
                input.reset();
            }
        } guard{frame, input_};
        input_ = frame;
        this->ConvertIn(frame);
        ProcessInternalCSC(frame, input_);
        guard.isDone = true;
        input_.reset();  // frees its memory before the conversion back asks for as much
        this->ConvertBack(frame);
    }

    /// `frame` is in a working format and may be `input` itself, the caller's own frame; its pixels must then not be
    /// changed. `input` is the frame as it was before the conversion.
    virtual void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) = 0;

    /// For an algorithm that is about to allocate frames, does not read its input and can no longer fail: frees the
    /// unconverted frame, a third of the peak memory. `input` is empty from then on, unless it is the working frame
    /// itself.
    void ReleaseInput(const FramePtr& working) {
        if (working != input_) input_.reset();
    }

private:
    ConstFramePtr input_;
};

/// One frame in a working format, whose luma is restored after the effect.
template <class SettingsT>
class EffectBaseCSCLuma : public EffectBaseCSCOneInput<SettingsT> {
public:
    using EffectBaseCSCOneInput<SettingsT>::EffectBaseCSCOneInput;

protected:
    /// As in the base, but without keeping the unconverted input, which nothing reads: its memory is reused by the
    /// conversions.
    void ProcessInternalImpl(FramePtr& frame) override {
        this->ConvertIn(frame);
        ProcessInternalCSC(frame, ConstFramePtr());
        this->ConvertBack(frame);
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        const FramePtr luma = LumaOf(frame);
        ProcessInternalColor(frame);
        lumaConverter_->ProcessData(frame);
        PutLuma(*luma, *frame);
    }

    /// The algorithm. It may change the pixels of `frame` only if nobody else sees them (`IsExclusive`); otherwise it
    /// replaces the frame.
    virtual void ProcessInternalColor(FramePtr& frame) = 0;

private:
    FramePtr LumaOf(FramePtr picture) {
        lumaConverter_->ProcessData(picture);
        return TakeLuma(*picture, this->allocator_);
    }

    OneInputPtr lumaConverter_ =
        this->CreateOneInput(SettingsColorspaceConverter().AddPixFmt(PixFmt::Yuv444p).AddPixFmt(PixFmt::Yuva444p));
};

/// The working frame without its extra alpha, or an independent copy of it if it is the caller's own frame and anyone
/// but this effect can see its pixels.
inline FramePtr Writable(const FramePtr& frame, const ConstFramePtr& input) {
    constexpr std::uint32_t kOwnReferences = 2;  // `frame` and `input`; the caller's reference is lent to the effect
    const bool isSeenByOthers = frame->GetRefCount() > kOwnReferences || frame->SharesPixels();
    if (frame == input && isSeenByOthers) return CloneFrame(*frame, kCloneIndependent);
    frame->ClearExtraAlpha();
    return frame;
}

/// Registers an effect of the module under its settings class; returns whether the name was new.
template <class Effect>
bool RegisterEffect(IEffectFactory& factory) {
    const std::string& classId = Effect::SettingsType::CLASS_ID;
    if constexpr (std::same_as<typename Effect::Interface, IOneInputEffectVideo>) {
        return factory.RegisterOneInputEffect(classId, ImplNames::ORVEXA, MakeEffect<Effect>, 0);
    } else if constexpr (std::same_as<typename Effect::Interface, ITwoInputEffectVideo>) {
        return factory.RegisterTwoInputEffect(classId, ImplNames::ORVEXA, MakeEffect<Effect>, 0);
    } else {
        return factory.RegisterVarInputEffect(classId, ImplNames::ORVEXA, MakeEffect<Effect>, 0);
    }
}

}  // namespace Orvexa::Proc

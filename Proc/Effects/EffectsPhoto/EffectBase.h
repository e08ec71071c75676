// The template bases of all effects.
//
// An effect derives from EffectBaseOneInput, EffectBaseTwoInput or EffectBaseVarInput with its settings class and
// implements ProcessInternalImpl. An algorithm written for a few pixel formats derives from EffectBaseCSCOneInput
// instead, names its formats in GetWorkingPixFmts and implements ProcessInternalCSC; EffectBaseCSCLuma also gives the
// picture its luma back afterwards.
#pragma once

#include <glog/logging.h>

#include <concepts>
#include <string>
#include <vector>

#include "Host/Proc/SettingsEffect.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Orvexa::Proc {

namespace Details {

// Log lines are found by tools through their place, which therefore stays fixed while this file changes.
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

/// Settings, statistics and logging: what is the same for all effects.
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

    /// Takes the settings if they differ from the present ones; a class without equality always differs.
    virtual void SetSettings(const SettingsT& settings) {
        if constexpr (std::equality_comparable<SettingsT>) {
            if (this->settings_ == settings) return;
        }
        ReplaceSettings(settings);
    }

protected:
    /// An effect's own additions to its statistics.
    virtual void AddStatistics(Core::Property&) const {}

    /// Lets the effect drop what depends on its settings, then takes the new ones.
    void ReplaceSettings(SettingsT settings) {
        this->ResetSettings();
        this->settings_ = std::move(settings);
    }

    /// Runs `process` between the log lines, or not at all when the settings ask for nothing, and counts the calls.
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

/// One frame, processed in place or replaced. Its timing stays as it was.
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

/// One frame, processed in place or replaced with the help of a second one, which is only read.
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

/// Many frames in, one out; or an empty pointer and the results in the vector.
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

/// Brings frames into one of the effect's working formats and back.
template <class Base>
class EffectBaseCSC : public Base {
public:
    EffectBaseCSC(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : Base(factory, allocator), backConverter_(this->CreateOneInput(SettingsColorspaceConverter::CLASS_ID)) {}

    void Notify(std::uintptr_t event) override {
        if (isConvertIn_ && forwardConverter_ != nullptr) forwardConverter_->Notify(event);
        if (IsConvertBack()) backConverter_->Notify(event);
    }

protected:
    /// Whether the result goes back into the format of the input.
    virtual bool IsConvertBack() const { return true; }
    /// The formats that the algorithm can work in.
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
                    forwardConverter_ = this->CreateOneInput(SettingsColorspaceConverter::CLASS_ID);
                forwardConverter_->SetSettings(SettingsColorspaceConverter(formats, true));
            }
        }
        // A frame in a working format goes through the converter, too, which leaves it as it is.
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
    OneInputPtr backConverter_;
    PixFmt inputPixFmt_ = PixFmt::None;
    PixFmt backSourcePixFmt_ = PixFmt::None;
};

/// One frame in a working format, with the caller's unconverted frame beside it. A call that fails before the
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

    /// `frame` is in a working format and may be `input` itself, the caller's own frame: its pixels must not be changed
    /// then. `input` is the frame as it was before the conversion.
    virtual void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) = 0;

    /// For an algorithm that is about to allocate frames, does not read its input and cannot fail any more: frees the
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
    EffectBaseCSCLuma(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseCSCOneInput<SettingsT>(factory, allocator),
          lumaConverter_(this->CreateOneInput(SettingsColorspaceConverter::CLASS_ID)) {
        lumaConverter_->SetSettings(
            SettingsColorspaceConverter().AddPixFmt(PixFmt::Yuv444p).AddPixFmt(PixFmt::Yuva444p));
    }

protected:
    /// As in the base, but without keeping the unconverted input, which nobody reads: its memory serves the
    /// conversions.
    void ProcessInternalImpl(FramePtr& frame) override {
        this->ConvertIn(frame);
        ProcessInternalCSC(frame, ConstFramePtr());
        this->ConvertBack(frame);
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        const FramePtr luma = TakeLuma(frame);
        ProcessInternalColor(frame);
        lumaConverter_->ProcessData(frame);
        CopyPlane(std::as_const(*luma).GetPlane(0), frame->GetPlane(0));
    }

    /// The algorithm. It may change the pixels of `frame` only where nobody else sees them (`IsExclusive`), else it
    /// replaces the frame.
    virtual void ProcessInternalColor(FramePtr& frame) = 0;

private:
    // The luma plane alone, so that a whole converted frame need not be held while the algorithm runs.
    FramePtr TakeLuma(FramePtr picture) {
        lumaConverter_->ProcessData(picture);
        FramePtr luma = NewFrame(this->allocator_, PixFmt::Gray8, picture->GetFrameInfo());
        CopyPlane(std::as_const(*picture).GetPlane(0), luma->GetPlane(0));
        return luma;
    }

    OneInputPtr lumaConverter_;
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

}  // namespace Orvexa::Proc

// Every settings class that the host and the module know, field by field.

#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/NearestName.h"
#include "Host/Settings/Settings.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Faces.h"

namespace Orvexa::Test {

enum class Grade : int { Low = 1, High = 2 };

class SettingsInner final : public Settings {
    ORVEXA_SETTINGS(SettingsInner, "", "Test", "An inner group.")
    ORVEXA_EQUALITY(SettingsInner)
    ORVEXA_FIELD(double, Amount, 0.5, Range(0, 1), "fraction", "An amount.")
};

class SettingsOuter final : public Settings {
    ORVEXA_SETTINGS(SettingsOuter, "", "Test", "All kinds of fields.")
    ORVEXA_EQUALITY(SettingsOuter)
    using ColorStops = std::map<int, Color>;
    ORVEXA_FIELD(int, Count, 3, Range(-4, 9), "pieces", "A number.")
    ORVEXA_FIELD(Grade, Quality, Grade::High, Named("low=1 high=2"), "", "A grade.")
    ORVEXA_FLAG(Loud, false, "Whether it is loud.")
    ORVEXA_FIELD(ColorStops, Stops, {}, Any(), "", "Colours by position.")
    ORVEXA_FIELD(std::vector<double>, Weights, {}, Range(0, 2), "", "Some weights.")
    ORVEXA_GROUP(SettingsInner, Inner)
};

namespace {

TEST(Settings, TakeAccessorsKeysAndEqualityFromOneLineEach) {
    SettingsOuter a, b;
    EXPECT_TRUE(a == b);
    EXPECT_EQ(FormatSettings(a), "count=3 quality=high loud=false stops= weights= inner.amount=0.5");
    a.SetLoud(true);
    EXPECT_TRUE(a.IsLoud());
    EXPECT_FALSE(a.IsLoudEqual(b));
    EXPECT_FALSE(a == b);
    b.SetLoud(true);
    EXPECT_TRUE(a == b);
    SetField(a, "inner.amount", "0.25");
    EXPECT_EQ(a.GetInner().GetAmount(), 0.25);
    EXPECT_FALSE(a.IsInnerDefault());
    EXPECT_FALSE(a == b) << "a group's fields count, too";
    SetField(a, "stops", "10:#ff0000,-1:#00ff0080");
    EXPECT_EQ(a.GetStops().at(-1), Color(0, 255, 0, 128));
}

TEST(Settings, SayWhatIsWrongWithAValueAndWhatWouldBeRight) {
    SettingsOuter settings;
    const struct {
        std::string_view key, text, complaint;
    } cases[] = {
        {"count", "10", "count: \"10\" is not in the range -4..9"},
        {"count", "9", "nothing"},
        {"count", "1.5", "count: \"1.5\" is not a whole number in the range -4..9"},
        {"count", "99999999999999999999", "count: \"99999999999999999999\" is not in the range -4..9"},
        {"count", "", "count: \"\" is not a whole number in the range -4..9"},
        {"quality", "medium", "quality: \"medium\" is not one of low (1), high (2)"},
        {"quality", "1", "nothing"},
        {"loud", "yes", "loud: \"yes\" is not true or false"},
        {"inner.amount", "nan", "inner.amount: \"nan\" is not a number in the range 0..1"},
        {"inner.amount", "1e999", "inner.amount: \"1e999\" is not a number in the range 0..1"},
        {"inner.amount", "-0.1", "inner.amount: \"-0.1\" is not in the range 0..1"},
        {"inner.amount", "", "inner.amount: \"\" is not a number in the range 0..1"},
        {"weights", "1,,2", "weights: \"\" is not a number in the range 0..2"},
        {"weights", "1,3", "weights: \"3\" is not in the range 0..2"},
        {"stops", "1", "stops: \"1\" is not of the form key:value"},
        {"stops", "1:#123456,1:#123456", "stops: \"1:#123456\" is not new: its key was given before"},
        {"stops", "1:red", "stops: \"red\" is not a color like #RRGGBB or #RRGGBBAA"},
        {"stops", "1:#12345", "stops: \"#12345\" is not a color like #RRGGBB or #RRGGBBAA"},
        {"size", "1",
         "there is no setting \"size\"; the settings are count, quality, loud, stops, weights, inner.amount"},
        {"Wieghts", "1", "there is no setting \"Wieghts\"; did you mean weights?"},
        {"amount", "1", "there is no setting \"amount\"; did you mean inner.amount?"},
        {"inner.amuont", "1", "there is no setting \"inner.amuont\"; did you mean inner.amount?"},
    };
    for (const auto& c : cases) EXPECT_EQ(MessageOf([&] { SetField(settings, c.key, c.text); }), c.complaint);
    EXPECT_EQ(settings.GetCount(), 9) << "refused values leave the old one";
    EXPECT_TRUE(settings.GetStops().empty());
}

TEST(NearestNames, ForgiveMistypingButNotOtherWords) {
    const std::vector<std::string> names{"WhiteBalance", "BlurBokeh", "Vignette"};
    EXPECT_EQ(NearestName("whitebalanse", names), "WhiteBalance");
    EXPECT_EQ(NearestName("blurbokhe", names), "BlurBokeh");
    EXPECT_EQ(NearestName("zzzz", names), "");
}

// A text that makes the field differ from its present value.
std::string Different(const Field& field, const Settings& settings) {
    std::vector<std::string> candidates{"true", "false", "#01020304", "text", "1,2,3,4", "2,3", "1:#010203", "2x3"};
    for (const NamedValue& named : field.limits.names) candidates.push_back(named.name);
    if (field.limits.min) {
        candidates.push_back(FormatDouble(*field.limits.min));
        candidates.push_back(FormatDouble(*field.limits.max));
    }
    const std::string face = TextCodec<Face>::Format(FaceAt(1, 2));
    candidates.insert(candidates.end(), {"1", "2", face, "[" + face + "]"});
    for (const std::string& candidate : candidates) {
        const auto copy = settings.Copy();
        try {
            field.Parse(*copy, candidate);
        } catch (const SettingsException&) {
            continue;
        }
        if (!field.IsEqual(*copy, settings)) return candidate;
    }
    return {};
}

TEST(EverySettingsClass, HasFieldsThatCountSurviveTextAndKeepTheirRanges) {
    ModuleFactory();  // brings the module's settings classes
    int fields = 0;
    for (const SettingsClass* settingsClass : SettingsCatalogue::GetAll()) {
        const auto defaults = settingsClass->create();
        EXPECT_EQ(defaults->GetClassId(), settingsClass->classId);
        EXPECT_FALSE(settingsClass->summary.empty()) << settingsClass->classId;
        for (const Field& field : defaults->GetFields()) {
            const std::string name = settingsClass->classId + "." + field.key;
            EXPECT_FALSE(field.summary.empty()) << name;
            if (field.type == "function") continue;
            ++fields;
            // The default is one that the field itself accepts.
            auto copy = defaults->Copy();
            ASSERT_NO_THROW(field.Parse(*copy, field.Format(*defaults))) << name;
            EXPECT_TRUE(field.IsEqual(*copy, *defaults)) << name;
            const std::string other = Different(field, *defaults);
            ASSERT_FALSE(other.empty()) << name << " has no second value";
            field.Parse(*copy, other);
            EXPECT_FALSE(field.IsEqual(*copy, *defaults)) << name;
            auto again = defaults->Copy();
            field.Parse(*again, field.Format(*copy));
            EXPECT_TRUE(field.IsEqual(*again, *copy)) << name << " = " << field.Format(*copy);
            if (field.limits.min && field.type != "list") {
                EXPECT_THROW(field.Parse(*copy, FormatDouble(*field.limits.min - 1)), SettingsException) << name;
                EXPECT_THROW(field.Parse(*copy, FormatDouble(*field.limits.max + 1)), SettingsException) << name;
            }
            // Any text can be the name of a file.
            if (field.type == "path") continue;
            EXPECT_THROW(field.Parse(*copy, "#nonsense;"), SettingsException) << name;
        }
    }
    EXPECT_GT(fields, 20);
}

}  // namespace
}  // namespace Orvexa::Test

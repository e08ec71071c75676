#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core/utility.hpp>
#include <thread>

#include "Host/Core/Threads.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Proc/Neural.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Messages.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/TestModels.h"

namespace Orvexa::Test {
namespace {

using namespace Neural;
using testing::ElementsAre;
using testing::HasSubstr;

std::shared_ptr<NeuralResult> Ask(NeuralType type, const Models& models, FramePtr frame) {
    return CreateNeural(type, ImplName::OpenCv, models.GetRoot())->Process(frame);
}

TEST(Neural, FeedsThePictureAsTheManifestSays) {
    const FramePtr colors = MakeFrame(PixFmt::Rgb24, 2, 1, {10, 20, 30, 40, 50, 60});
    const std::string grey =
        R"("file": "flat-grey.onnx", "width": 3, "height": 2, "channels": "grey", "mean": [0], "scale": [1])";
    const struct {
        const char* what;
        std::string entry;
        FramePtr frame;
        std::vector<float> expected;
    } cases[] = {
        {"channel after channel", "", colors, {10, 40, 20, 50, 30, 60}},
        {"blue first", R"("channels": "bgr")", colors, {30, 60, 20, 50, 10, 40}},
        {"mean before scale", R"("mean": [10, 20, 30], "scale": [0.5, 0.25, 2])", colors, {0, 15, 0, 7.5, 0, 60}},
        {"mean and scale go with the channels of the network",
         R"("channels": "bgr", "mean": [10, 20, 30], "scale": [0.5, 0.25, 2])",
         colors,
         {10, 25, 0, 7.5, -40, 20}},
        {"result scaled, then moved",
         R"("outputScale": -0.5, "outputOffset": 1)",
         colors,
         {-4, -19, -9, -24, -14, -29}},
        {"another order of bytes",
         "",
         MakeFrame(PixFmt::Bgr24, 2, 1, {30, 20, 10, 60, 50, 40}),
         {10, 40, 20, 50, 30, 60}},
        {"alpha is left out",
         "",
         MakeFrame(PixFmt::Rgba, 2, 1, {10, 20, 30, 0, 40, 50, 60, 99}),
         {10, 40, 20, 50, 30, 60}},
        {"alpha first", "", MakeFrame(PixFmt::Abgr, 2, 1, {7, 30, 20, 10, 8, 60, 50, 40}), {10, 40, 20, 50, 30, 60}},
        {"grey as colour", "", MakeFrame(PixFmt::Gray8, 2, 1, {7, 9}), {7, 9, 7, 9, 7, 9}},
        {"grey as grey", grey, MakeFrame(PixFmt::Gray8, 3, 2, {1, 2, 3, 4, 5, 6}), {1, 2, 3, 4, 5, 6}},
        {"colour as grey", grey, MakeFrame(PixFmt::Rgb24, 3, 2, Color(77, 77, 77)), {77, 77, 77, 77, 77, 77}},
        {"reduced to the mean of areas",
         "",
         MakeFrame(PixFmt::Rgb24, 4, 2,
                   {0, 0, 8, 4, 0, 8, 100, 0, 8, 104, 0, 8, 8, 0, 8, 12, 4, 8, 108, 0, 8, 112, 0, 8}),
         {6, 106, 1, 0, 8, 8}},
        {"enlarged", "", MakeFrame(PixFmt::Rgb24, 1, 1, Color(5, 6, 7)), {5, 5, 6, 6, 7, 7}},
    };
    for (const auto& test : cases) {
        const Models models(R"({"types": {"0": {)" + test.entry + "}}}");
        EXPECT_EQ(Ask(NeuralType::Adjustments, models, test.frame)->GetFloatVectorResult(), test.expected) << test.what;
    }
}

TEST(Neural, TakesPicturesOfAnySizeWhereTheManifestGivesNone) {
    const Models models;
    // Means: red 6, green 100, blue 20; the network weighs its channels by 1/2, 1/4, 1/4.
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 2, 2, {0, 90, 20, 4, 110, 20, 8, 100, 10, 12, 100, 30});
    EXPECT_EQ(Ask(NeuralType::TiltAngle, models, frame)->GetDouble(), 3 + 25 + 5);
    EXPECT_EQ(Ask(NeuralType::ImageScore, models, frame)->GetDouble(), (10 + 25 + 1.5) * 0.5 + 3)
        << "blue first, scaled, then moved";

    const std::shared_ptr<NeuralBase> network =
        CreateNeural(NeuralType::TiltAngle, ImplName::Default, models.GetRoot());
    for (const auto& [width, height] : kSizes) {
        FramePtr picture = MakeFrame(PixFmt::Rgb24, width, height);
        double sum = 0;
        for (std::uint32_t y = 0; y < height; ++y) {
            for (std::uint32_t x = 0; x < width; ++x) {
                const std::uint8_t* pixel = picture->GetPlane(0).GetOffsetPtr(x, y);
                sum += 0.5 * pixel[0] + 0.25 * pixel[1] + 0.25 * pixel[2];
            }
        }
        EXPECT_NEAR(network->Process(picture)->GetDouble(), sum / width / height, 1e-3) << "one network, several sizes";
    }
}

TEST(Neural, SetsFlagsAboveOneHalf) {
    const Models models;
    for (const NeuralType type : {NeuralType::EnhancementFlag, NeuralType::HorizonFlag}) {
        EXPECT_FALSE(Ask(type, models, MakeFrame(PixFmt::Gray8, 9, 9, Color(128, 128, 128)))
                         ->GetBool());  // 128 / 256 is one half
        EXPECT_TRUE(Ask(type, models, MakeFrame(PixFmt::Gray8, 9, 9, Color(129, 129, 129)))->GetBool());
    }
}

TEST(Neural, GivesMasksAsBytesRowByRow) {
    const Models models;
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 640, 320, Color(0, 0, 0));
    // Above one half where the weighted mean is above 128; at 112, 1 / (1 + e^4) of 255, which is 4.6.
    for (const auto& [x, y, color] :
         {std::tuple{0, 0, Color(192, 0, 128)}, {2, 0, Color(128, 0, 192)}, {638, 319, Color(255, 255, 255)}}) {
        for (int i = 0; i < 6; ++i) frame->GetPlane(0).GetRow(y)[3 * x + i] = color[i % 3];
    }
    std::vector<unsigned char> expected(320 * 320, 0);
    expected[0] = 128;
    expected[1] = 5;
    expected.back() = 255;
    EXPECT_TRUE(Ask(NeuralType::SegmentationMask, models, frame)->GetUint8VectorResult() == expected);
}

TEST(Neural, BringsMasksToTheirSize) {
    // The upper half is bright; between the rows of the smaller mask the larger one fades from 0 to 255.
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 64, 64, Color(0, 0, 0));
    for (std::uint32_t y = 0; y < 32; ++y) std::fill_n(frame->GetPlane(0).GetRow(y), 3 * 64, 255);
    for (const auto& [width, height] : {std::pair{64, 64}, {32, 640}, {1, 2}}) {
        const Models models(R"({"types": {"8": {"width": )" + std::to_string(width) + R"(, "height": )" +
                            std::to_string(height) + "}}}");
        const std::vector<unsigned char> mask =
            Ask(NeuralType::SegmentationMask, models, frame)->GetUint8VectorResult();
        ASSERT_EQ(mask.size(), 320U * 320);
        for (const int x : {0, 160, 319}) {
            const auto at = [&](int y) { return static_cast<int>(mask[static_cast<std::size_t>(320 * y + x)]); };
            EXPECT_EQ(at(0), 255) << width;
            EXPECT_EQ(at(319), 0) << width;
            EXPECT_NEAR(at(159) + at(160), 255, 1) << width << ": the edge stays where it was";
            EXPECT_GE(at(159), 128) << width;
        }
    }
}

TEST(Neural, GivesWhatAFolderLacksFromTheInstalledModels) {
    FramePtr person = Io::ReadImage(SourcePath("samples/astronaut.png"), TestAllocator()).frame;
    const auto isSubject = [&](const Core::ioPath& root) {
        const auto mask =
            CreateNeural(NeuralType::SegmentationMask, ImplName::OpenCv, root)->Process(person)->GetUint8VectorResult();
        return std::pair{mask[320 * 80 + 140] > 200, mask[320 * 40 + 300] < 50};  // the face, the space shuttle behind
    };
    const Models without(R"({"types": {"8": null}})");
    EXPECT_EQ(isSubject({}), std::pair(true, true));
    EXPECT_EQ(isSubject(without.GetRoot()), std::pair(true, true));
    EXPECT_NE(isSubject(kModels), std::pair(true, true)) << "a folder's own entry comes first";
    const TempFolder empty;
    EXPECT_THAT(MessageOf([&] { CreateNeural(NeuralType::SegmentationMask, ImplName::OpenCv, empty.GetPath()); }),
                HasSubstr("models.json does not exist; it must tell what models there are!"));
    const Models lost(R"({"types": {"8": {"file": "lost.onnx"}}})");
    EXPECT_THAT(MessageOf([&] { CreateNeural(NeuralType::SegmentationMask, ImplName::OpenCv, lost.GetRoot()); }),
                HasSubstr("lost.onnx does not exist!"));
}

TEST(Neural, KeepsNetworksUntilTheirFileChanges) {
    const Models models(R"({"types": {"0": {"file": "own.onnx"}}})");
    const auto bring = [&](const char* name) {
        std::filesystem::remove(models.GetRoot() / "own.onnx");
        std::filesystem::copy_file(kModels / name, models.GetRoot() / "own.onnx");
    };
    const auto ask = [&] {
        return MessageOf([&] { Ask(NeuralType::Adjustments, models, MakeFrame(PixFmt::Rgb24, 2, 1)); });
    };
    bring("flat-color.onnx");
    EXPECT_EQ(ask(), "nothing");
    const auto time = std::filesystem::last_write_time(models.GetRoot() / "own.onnx");
    WriteFile(models.GetRoot() / "own.onnx", FileBytes(std::filesystem::file_size(kModels / "flat-color.onnx")));
    std::filesystem::last_write_time(models.GetRoot() / "own.onnx", time);
    EXPECT_EQ(ask(), "nothing") << "nothing tells that the file is another one: it is not read again";
    bring("mean.onnx");
    std::filesystem::last_write_time(models.GetRoot() / "own.onnx", time + std::chrono::seconds(2));
    EXPECT_THAT(ask(), HasSubstr("own.onnx gives 1 values; it must give 6!"));
}

TEST(Neural, LeavesTheFrameAlone) {
    for (const PixFmtDescription& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        const GuardedFrame guarded(description.pixFmt, 33, 21);
        const FramePtr before = CloneFrame(*guarded.GetFrame(), kCloneIndependent);
        for (const NeuralType type : {NeuralType::Adjustments, NeuralType::TiltAngle, NeuralType::SegmentationMask}) {
            FramePtr frame = guarded.GetFrame();
            CreateNeural(type, ImplName::OpenCv, kModels)->Process(frame);
            EXPECT_EQ(frame, guarded.GetFrame());
            EXPECT_TRUE(SameFrames(frame, before)) << description.name;
        }
        EXPECT_TRUE(guarded.IsGuardIntact());
    }
}

TEST(Neural, RefusesGettersOfAnotherKind) {
    const NeuralResult results[] = {NeuralResult(std::vector<float>(6)), NeuralResult(std::vector<unsigned char>(4)),
                                    NeuralResult(true), NeuralResult(0.5)};
    const std::string names[] = {"a float vector", "a byte vector", "a flag", "a double"};
    void (*const getters[])(const NeuralResult&) = {[](const NeuralResult& result) { result.GetFloatVectorResult(); },
                                                    [](const NeuralResult& result) { result.GetUint8VectorResult(); },
                                                    [](const NeuralResult& result) { result.GetBool(); },
                                                    [](const NeuralResult& result) { result.GetDouble(); }};
    for (std::size_t i = 0; i < std::size(results); ++i) {
        for (std::size_t k = 0; k < std::size(getters); ++k) {
            EXPECT_EQ(MessageOf([&] { getters[k](results[i]); }),
                      i == k ? "nothing" : "The network gives " + names[i] + ", not " + names[k] + "!");
        }
    }
}

TEST(Neural, SaysWhatIsWrongWithTheManifest) {
    const struct {
        const char* patch;
        const char* complaint;
    } cases[] = {
        {R"({"extra": 1})", R"(models.json must not have the key "extra"; the keys are types, models, faces!)"},
        {R"({"types": []})", R"(models.json: "types" must be an object!)"},
        {R"({"types": {"2": {}}})", "models.json: type 2 is not known; the types are 0, 1, 5, 6, 7, 8!"},
        {R"({"types": {"mask": {}}})", "models.json: type mask is not known;"},
        {R"({"models": {"-1": {}}})", "models.json: model -1 must be a whole number!"},
        {R"({"faces": []})", R"(models.json: "faces" must be an object!)"},
        {R"({"faces": {"eyes": {}}})",
         "models.json: faces network eyes is not known; the networks are detector, landmarks, descriptor!"},
        {R"({"faces": {"detector": 1}})", "models.json: faces network detector must be an object!"},
        {R"({"types": {"1": 5}})", "models.json: type 1 must be an object!"},
        {R"({"types": {"1": {"size": 2}}})",
         R"(type 1 must not have the key "size"; the keys are file, width, height, channels, mean, )"},
        {R"({"types": {"8": {"output": "flag"}}})", R"(models.json: type 8 must have "bytes" as "output"!)"},
        {R"({"types": {"1": {"output": "number"}}})",
         R"(type 1 has "number" as "output"; it must be one of floats, bytes, flag, double, image, grid!)"},
        {R"({"types": {"1": {"channels": "RGB"}}})",
         R"(type 1 has "RGB" as "channels"; it must be one of rgb, bgr, grey!)"},
        {R"({"types": {"1": {"channels": "grey"}}})",
         R"(type 1 must have a list of 1 numbers as "mean", one for each channel!)"},
        {R"({"types": {"1": {"width": 3}}})", R"(type 1 must have both "width" and "height" 0, or neither!)"},
        {R"({"types": {"1": {"height": 1.5}}})", R"(type 1 must have a whole number from 0 to 16384 as "height"!)"},
        {R"({"types": {"1": {"licence": null}}})", R"(type 1 must have the key "licence"!)"},
        {R"({"types": {"1": {"file": 1}}})", R"(type 1 must have a text as "file"!)"},
        {R"({"types": {"1": {"file": "../mean.onnx"}}})",
         R"(type 1 must have the name of a file beside it as "file"!)"},
        {R"({"types": {"1": {"file": "none.onnx"}}})", "none.onnx does not exist!"},
        {R"({"types": {"1": {"reach": 3}}})", R"(type 1 must not have the key "reach"; the keys are file, )"},
        {R"({"types": {"1": {"builtin": "line-segments"}}})",
         R"(type 1 must not have the key "channels"; the keys are builtin!)"},
        {R"({"types": {"7": {"builtin": "line-segments"}}})",
         R"(type 7 must not have the key "builtin"; the keys are file, )"},
        {R"({"models": {"1": {"output": "floats"}}})", R"(model 1 must have "image" or "grid" as "output"!)"},
        {R"({"models": {"1": {"reach": -1}}})", R"(model 1 must have a whole number from 0 to 256 as "reach"!)"},
        {R"({"models": {"1": {"multiple": 0}}})", R"(model 1 must have a whole number from 1 to 512 as "multiple"!)"},
        {R"({"models": {"1": {"enlarges": 17}}})", R"(model 1 must have a whole number from 1 to 16 as "enlarges"!)"},
        {R"({"models": {"1": {"longest": 15}}})", R"(model 1 must have a whole number from 16 to 16384 as "longest"!)"},
        {R"({"models": {"1": {"width": 32, "height": 31}}})",
         R"(model 1 must have multiples of "multiple" as "width" and "height", or 0!)"},
        {R"({"models": {"1": {"width": 8, "height": 8, "reach": 3}}})",
         R"(model 1 must have a "width" and "height" above 8, twice its "reach", or 0!)"},
        {R"({"models": {"16": {"longest": 512}}})",
         R"(model 16 cannot have "enlarges" above 1 together with "longest")"},
        {R"({"models": {"16": {"width": 8, "height": 8, "reach": null}}})",
         R"(model 16 cannot have "enlarges" above 1 )"},
        {R"({"models": {"5": {"width": 0, "height": 0}}})",
         R"(model 5 must have a "width" and "height" above 0 and colour "channels" to give a grid!)"},
        {R"({"models": {"5": {"reach": 0}}})",
         "model 5 must not have any of the keys reach, multiple, enlarges, longest, which a grid does not take!"},
        {R"({"types": {"7": {"licence": 3}}})",
         R"(models.json: type 7 must have a text as "licence"!)"},  // another than is asked for
        {"{}", "nothing"},
    };
    for (const auto& test : cases) {
        const Models models(test.patch);
        const std::string complaint =
            MessageOf([&] { CreateNeural(NeuralType::TiltAngle, ImplName::OpenCv, models.GetRoot()); });
        EXPECT_THAT(complaint, HasSubstr(test.complaint)) << test.patch;
        if (complaint != "nothing") {
            EXPECT_THAT(complaint, HasSubstr(models.GetRoot().string())) << test.patch;
        }
    }
}

TEST(Neural, SaysWhatIsMissingOrDamaged) {
    const Models models;
    const auto complaint = [](const Core::ioPath& root) {
        return MessageOf([&] { CreateNeural(NeuralType::Adjustments, ImplName::OpenCv, root); });
    };
    EXPECT_EQ(complaint("/nowhere/models"), "The models folder /nowhere/models does not exist!");
    EXPECT_EQ(MessageOf([] { CreateNeural(NeuralType{3}, ImplName::OpenCv, {}); }),
              "The manifest " + (GetModelsDirectory() / "models.json").string() + " has no type 3!");
    EXPECT_EQ(GetModelsDirectory().parent_path().parent_path().filename(), "share");
    const TempFolder empty;
    EXPECT_EQ(complaint(empty.GetPath()),
              "The manifest " + empty.File("models.json") + " does not exist; it must tell what models there are!");
    for (const char* text :
         {"", "{", "[1, 2", "{\"types\": {}} more", "\xff", "{\"types\": 1e999}", "{\"types\": {}, \"types\": {}}"}) {
        models.WriteManifest(text);
        EXPECT_THAT(complaint(models.GetRoot()), HasSubstr("models.json is damaged, it must be JSON: ")) << text;
    }
    models.WriteManifest("[]");
    EXPECT_THAT(complaint(models.GetRoot()), HasSubstr("models.json must be an object!"));

    EXPECT_EQ(MessageOf([] { CreateNeural(NeuralType::Adjustments, ImplName{7}, kModels); }),
              "Neural implementation 7 is not supported! It must be 0 or 1.");
    EXPECT_THAT(MessageOf([] { CreateNeural(NeuralType{3}, ImplName::OpenCv, kModels); }),
                HasSubstr("models.json has no type 3, and neither has the installed one!"));
}

TEST(Neural, RefusesModelsThatAreDamagedOrHaveNotOneOutput) {
    const Models models(R"({"types": {"0": {"file": "damaged.onnx"}, "1": {"file": "two-outputs.onnx"}}})");
    const FileBytes whole = ReadFile(kModels / "flat-color.onnx");
    const auto complaint = [&](NeuralType type) {
        return MessageOf([&] { CreateNeural(type, ImplName::OpenCv, models.GetRoot()); });
    };
    for (const std::size_t size : {std::size_t{0}, std::size_t{9}, whole.size() / 2, whole.size() - 1}) {
        WriteFile(models.GetRoot() / "damaged.onnx",
                  FileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_THAT(complaint(NeuralType::Adjustments),
                    HasSubstr("damaged.onnx cannot be loaded, it must be an ONNX model with one output: "))
            << size;
    }
    EXPECT_THAT(complaint(NeuralType::TiltAngle),
                HasSubstr("two-outputs.onnx cannot be loaded, it must be an ONNX model with one output: "));
}

TEST(Neural, RefusesOutputsThatAreNotWhatTheManifestPromises) {
    const struct {
        const char* patch;
        const char* complaint;
    } cases[] = {
        {R"({"types": {"8": {"file": "flat-color.onnx", "width": 2, "height": 1}}})",
         "flat-color.onnx gives 1 x 6 values; a mask must have 1 x 1 x height x width!"},
        {R"({"types": {"8": {"file": "not-a-number.onnx", "width": 2, "height": 1}}})",
         "not-a-number.onnx gives values that are not numbers!"},
        {R"({"types": {"8": {"channels": "grey", "mean": [0], "scale": [1]}}})",
         "mask.onnx cannot take an input of 1 x 1 x 320 x 320: "},
    };
    for (const auto& test : cases) {
        const Models models(test.patch);
        const FramePtr frame = MakeFrame(PixFmt::Rgb24, 30, 20);
        const std::string complaint = MessageOf([&] { Ask(NeuralType::SegmentationMask, models, frame); });
        EXPECT_THAT(complaint, HasSubstr(test.complaint)) << test.patch;
        EXPECT_THAT(complaint, HasSubstr(models.GetRoot().string()));
    }
    const Models few(R"({"types": {"0": {"file": "mean.onnx"}}})");
    EXPECT_THAT(MessageOf([&] { Ask(NeuralType::Adjustments, few, MakeFrame(PixFmt::Rgb24, 3, 3)); }),
                HasSubstr("mean.onnx gives 1 values; it must give 6!"));
    const Models models(R"({"types": {"0": {"file": "not-a-number.onnx"}}})");
    EXPECT_THAT(MessageOf([&] { Ask(NeuralType::Adjustments, models, MakeFrame(PixFmt::Rgb24, 3, 3)); }),
                HasSubstr("not-a-number.onnx gives values that are not numbers!"));
    EXPECT_EQ(MessageOf([&] { Ask(NeuralType::Adjustments, models, {}); }), "There is no frame to process!");
}

TEST(Neural, GivesTheSameBytesWhateverTheThreads) {
    const Models models(R"({"types": {"0": {"file": "uneven.onnx", "width": 13, "height": 5}}})");
    const auto run = [&] {
        return Ask(NeuralType::Adjustments, models, MakeFrame(PixFmt::Rgb24, 13, 5))->GetFloatVectorResult();
    };
    const int before = Core::GetLibraryThreads();
    Core::SetLibraryThreads(1);
    const std::vector<float> alone = run();
    for (const int threads : {2, 3, 4}) {
        Core::SetLibraryThreads(threads);
        EXPECT_EQ(run(), alone) << threads;
        EXPECT_EQ(cv::getNumThreads(), threads) << "others keep their threads";
    }
    Core::SetLibraryThreads(before);

    std::vector<std::vector<float>> results(4);
    std::vector<std::thread> callers;
    for (std::vector<float>& result : results) {
        callers.emplace_back([&] {
            for (int i = 0; i < 10; ++i) result = run();
        });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_THAT(results, testing::Each(alone));
}

}  // namespace
}  // namespace Orvexa::Test

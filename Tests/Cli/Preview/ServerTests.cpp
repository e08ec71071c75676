// The server of `kalvatri preview`, asked by a client that follows no rules.

#include "Tests/Cli/Preview/Cut.h"
#include "Tests/Cli/Preview/Server.h"

#include <sys/resource.h>

#include "Host/Settings/Common/SettingsResizer.h"
#include "Tests/Cli/Module/EndsProcess.h"
#include "Tests/Support/Effects.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

Json Steps(const char* text) { return Json::parse(text); }

constexpr char kFit[] = R"({"outWidth": 2000, "outHeight": 2000})";

class PreviewServer : public Program {
protected:
    std::string MakePipe(const std::string& name) const {
        EXPECT_EQ(mkfifo(folder_.File(name).c_str(), 0600), 0);
        return folder_.File(name);
    }
    // With some structure at every scale, so that a place that is off shows.
    std::string MakePhoto(const std::string& name, std::uint32_t width = 210, std::uint32_t height = 130) const {
        return Make(name, DrawFrame(PixFmt::Rgb24, width, height, [](int x, int y, int channel) {
                        return 90 + channel * 20 + 60 * std::sin(x * 0.05 + channel) + 40 * std::cos(y * 0.3) + x % 7;
                    }));
    }
    // What `apply` makes of a photograph.
    FramePtr Applied(const std::string& photo, const Words& chain) const {
        const std::string out = folder_.File("applied.png");
        const Outcome outcome = RunKalvatri(Words{"apply", "-q", "-i", photo, "-o", out} + chain);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return Converted(Read("applied.png"), PixFmt::Rgba);
    }
};

TEST_F(PreviewServer, AnswersNobodyButItsOwnPage) {
    const Preview preview({MakePhoto("a.png")});
    const std::string token = preview.GetToken(), host = preview.GetHost();
    ASSERT_EQ(token.size(), 32u);
    std::string other = token;
    other.back() = other.back() == '0' ? '1' : '0';
    const std::string port = std::to_string(preview.GetPort());
    const auto request = [&](const std::string& path, const std::string& headers, const std::string& method = "GET") {
        return preview.Exchange(method + " " + path + " HTTP/1.1\r\n" + headers + "Content-Length: 0\r\n\r\n");
    };
    const std::string good = "/" + token + "/api/photos", from = "Host: " + host + "\r\n";
    ASSERT_EQ(request(good, from).status, 200);
    EXPECT_EQ(request(good, "Host: localhost:" + port + "\r\n").status, 200);
    EXPECT_EQ(request(good, from + "Origin: http://" + host + "\r\nSec-Fetch-Site: same-origin\r\n").status, 200);

    const std::string paths[] = {"/",
                                 "/" + token,
                                 "/" + other + "/api/photos",
                                 "/" + token.substr(1) + "/api/photos",
                                 "/api/photos",
                                 "//" + token + "/api/photos",
                                 "/" + token + "x/api/photos",
                                 "/" + token + "/nothing.js",
                                 "/" + token + "/../" + token + "/",
                                 "/" + token + "/%2e%2e/%2e%2e/etc/passwd",
                                 "/" + token + "/..%2f..%2fx.js",
                                 "/" + token + "/%2fetc%2fhosts.js",
                                 "/" + token + "/a%00.js",
                                 "/" + token + "/.hidden.js",
                                 "/" + token + "/index.html%00.js"};
    for (const std::string& path : paths) {
        const HttpAnswer answer = request(path, from);
        EXPECT_EQ(answer.status, 404) << path;
        EXPECT_THAT(answer.body, IsEmpty()) << path;
    }
    const std::string headers[] = {"",
                                   "Host: evil.example:" + port + "\r\n",
                                   "Host: 127.0.0.1\r\n",
                                   "Host: 127.0.0.1:1\r\n",
                                   from + from,
                                   from + "Origin: http://evil.example\r\n",
                                   from + "Origin: null\r\n",
                                   from + "Origin: https://" + host + "\r\n",
                                   from + "Sec-Fetch-Site: cross-site\r\n",
                                   from + "Sec-Fetch-Site: same-site\r\n"};
    for (const std::string& header : headers) {
        for (const char* method : {"GET", "POST", "DELETE", "PUT", "OPTIONS"}) {
            const HttpAnswer answer = request(good, header, method);
            EXPECT_EQ(answer.status, 403) << method << ' ' << header;
            EXPECT_THAT(answer.body, IsEmpty());
        }
    }
    EXPECT_THAT(request(good, from).head,
                AllOf(HasSubstr("frame-ancestors 'none'"), HasSubstr("nosniff"), HasSubstr("no-referrer"),
                      HasSubstr("no-store"), testing::Not(HasSubstr("Access-Control"))));
    // What a refused request carries is not taken for the next one.
    HttpConnection connection(preview.GetPort());
    const std::string inner = preview.MakeRequest("GET", "api/photos");
    connection.Send("POST /" + other + "/x HTTP/1.1\r\n" + from + "Content-Length: " + std::to_string(inner.size()) +
                    "\r\n\r\n" + inner + preview.MakeRequest("GET", "api/nothing"));
    EXPECT_THAT(connection.Receive().body, IsEmpty());
    EXPECT_THAT(connection.Receive().body, HasSubstr("nothing of this name"));
}

TEST_F(PreviewServer, RefusesWhatIsTooMuchOrOfAnotherForm) {
    const Preview preview({MakePhoto("a.png")}, {"--max-pixels", "40000"});
    const Json rendering = Preview::MakeRendering(0, Json::array(), Json::parse(kFit));
    const auto changed = [&](const char* key, const Json& value) {
        Json json = rendering;
        json[key] = value;
        return json.dump();
    };
    const Json output = {{"photo", 0}, {"chain", Json::array()}, {"target", "b.png"}};
    const auto saved = [&](const char* key, const Json& value) {
        Json json = output;
        json[key] = value;
        return json.dump();
    };
    const std::string padding(std::size_t{1} << 20, ' ');
    struct Bad {
        std::string path, body;
        int status;
        std::string reason;
    };
    const Bad bad[] = {
        {"render", padding + "{}", 413, "longer than the 1048576 bytes"},
        {"pictures?kind=strokes", std::string((std::size_t{32} << 20) + 1, 'x'), 413, "longer than the 33554432 bytes"},
        {"render", "", 400, "reading the request"},
        {"render", "{\"photo\": 0, \"photo\": 0}", 400, "photo"},
        {"render", std::string(100000, '['), 400, "reading the request"},
        {"render", "[]", 400, "must be a JSON object"},
        {"render", changed("photo", 1), 404, "none of that number"},
        {"render", changed("photo", -1), 404, "none of that number"},
        {"render", changed("photo", "../a.png"), 404, "none of that number"},
        {"render", changed("lane", "fast"), 400, "\"lane\" must be"},
        {"render", changed("client", 7), 400, "\"client\" must be a text"},
        {"render", changed("isFinal", 1), 400, "\"isFinal\" must be true or false"},
        {"render", changed("view", nullptr), 400, "must be a JSON object"},
        {"render", changed("view", {{"outWidth", 0}, {"outHeight", 5}}), 400, "in the range 1..8192"},
        {"render", changed("view", {{"outWidth", 8000}, {"outHeight", 8000}}), 400, "not shown at once"},
        {"render",
         changed("view", {{"outWidth", 9}, {"outHeight", 9}, {"x", 0}, {"y", 0}, {"width", 0}, {"height", 1}}), 400,
         "\"width\" must be a number"},
        {"render", changed("chain", Steps(R"([{"effect": "Vignete"}])")), 400, "did you mean Vignette?"},
        {"render", changed("chain", Steps(R"([{"effect": "ColoredGlass", "alpha": 101}])")), 400, "alpha"},
        {"render", changed("chain", Steps(R"([{"effect": "Segmentation", "with": "upload:7"}])")), 400, "upload:7"},
        {"render", changed("chain", Steps(R"([{"effect": "Compose", "with": "photo:7"}])")), 404,
         "none of that number"},
        {"pictures?kind=../x", "\x89PNG\r\n\x1a\n", 400, "small letters"},
        {"pictures", "GIF89a", 422, "not a PNG file"},
        {"pictures", "\x89PNG\r\n\x1a\n and so on", 422, "reading the picture"},
        {"command", saved("target", "../b.png"), 400, "not the plain name"},
        {"save", saved("target", "b.gif2"), 400, "not a known file format"},
        {"save", saved("target", "b"), 400, "suffix"},
        {"save", saved("quality", 101), 400, "in the range 1..100"},
        {"recipe", saved("target", "b.png"), 400, ".json"},
        {"batch", saved("photos", Json::array()), 400, "list of numbers"},
        {"batch", Json{{"photos", {0}}, {"name", ""}, {"chain", Json::array()}}.dump(), 400, "is missing"},
        {"nothing", "{}", 404, "nothing of this name"},
    };
    for (const Bad& wrong : bad) {
        SCOPED_TRACE(wrong.path + " " + wrong.body.substr(0, 200));
        const HttpAnswer answer = preview.Post("api/" + wrong.path, wrong.body);
        EXPECT_EQ(answer.status, wrong.status) << answer.body;
        const Json error = answer.GetJson().value("error", Json(""));
        EXPECT_THAT(error.get<std::string>(), AllOf(HasSubstr(wrong.reason), testing::Not(HasSubstr("\n"))));
    }
    // More pixels than --max-pixels allows: a picture from the page, as every other.
    std::vector<std::uint8_t> png;
    Io::EncodeImage(png, Io::FileFormat::Png, MakeFrame(PixFmt::Gray8, 300, 200, Pattern::Ramp), {}, {});
    EXPECT_EQ(preview.Post("api/pictures", std::string(png.begin(), png.end())).status, 422);
    EXPECT_EQ(preview.Get("api/jobs/1").status, 404);
    EXPECT_TRUE(preview.Show(rendering).frame != nullptr) << "and it goes on";
    EXPECT_TRUE(std::filesystem::is_empty(preview.GetOutputFolder()));
}

// At 100 percent the visible part is the full result's, whether it was computed on the part or on the whole.
TEST_F(PreviewServer, ShowsTheFullResultAt100Percent) {
    const std::string photo = MakePhoto("a.png");
    const Preview preview({photo});
    const std::pair<Json, Words> chains[] = {
        {Json::array(), {"EmptyEffect"}},
        {Steps(R"([{"effect": "WhiteBalance", "color": "#c8b496"}, {"effect": "OilPaint"}])"),
         {"WhiteBalance", "color=#c8b496", "OilPaint"}},
        {Steps(R"([{"effect": "Vignette"}, {"effect": "TintTemperature", "tint": 9}])"),
         {"Vignette", "TintTemperature", "tint=9"}},
        {Steps(R"([{"effect": "BlackWhite"}, {"effect": "Original"}, {"effect": "RemoveBackground"}])"),
         {"BlackWhite", "Original", "RemoveBackground"}},
        {Steps(R"([{"effect": "Crop", "x": 20, "width": 150}, {"effect": "Resize", "width": 180}])"),
         {"Crop", "x=20", "width=150", "Resize", "width=180"}},
    };
    for (const auto& [chain, words] : chains) {
        SCOPED_TRACE(chain.dump());
        const FramePtr applied = Applied(photo, words);
        const Json view = {{"x", 51}, {"y", 33}, {"width", 90}, {"height", 70}, {"outWidth", 90}, {"outHeight", 70}};
        const ShownPicture shown = preview.Show(Preview::MakeRendering(0, chain, view));
        ASSERT_TRUE(shown.frame != nullptr);
        EXPECT_TRUE(SameFrames(shown.frame, Cut(applied, 51, 33, 90, 70)));
        EXPECT_EQ(shown.about["width"], applied->GetFrameInfo().width);
        EXPECT_EQ(shown.about["height"], applied->GetFrameInfo().height);
        EXPECT_FALSE(shown.about["isApproximate"].get<bool>());
        // Enlarged, each pixel is a square.
        const Json closer = {{"x", 51}, {"y", 33}, {"width", 30}, {"height", 20}, {"outWidth", 90}, {"outHeight", 60}};
        const ShownPicture large = preview.Show(Preview::MakeRendering(0, chain, closer));
        for (std::uint32_t y = 0; y < 60; ++y) {
            for (std::uint32_t x = 0; x < 90; ++x)
                ASSERT_EQ(SampleAt(large.frame, x, y, 1), SampleAt(applied, 51 + x / 3, 33 + y / 3, 1))
                    << x << ',' << y;
        }
    }
}

// Fitted into a window, it is the reduced result: exactly for the photograph, closely for effects on single pixels.
TEST_F(PreviewServer, ShowsTheReducedResultInAWindow) {
    const std::string photo = MakePhoto("a.png", 600, 400);
    const Preview preview({photo});
    const Json window = {{"outWidth", 300}, {"outHeight", 300}};
    const auto reduced = [](const FramePtr& frame) {
        return RunHost(SettingsResizer(SettingsResizer::ResizeMethods::Area, SettingsResizer::kExactSize, {300, 200}),
                       frame);
    };
    const ShownPicture plain = preview.Show(Preview::MakeRendering(0, Json::array(), window));
    EXPECT_TRUE(SameFrames(plain.frame, Converted(reduced(Read("a.png")), PixFmt::Rgba)));
    const Json chain = Steps(R"([{"effect": "WhiteBalance", "color": "#c8b496"}])");
    const ShownPicture shown = preview.Show(Preview::MakeRendering(0, chain, window));
    // A curve of a mean is not the mean of the curve, by little.
    EXPECT_TRUE(SameFrames(shown.frame, reduced(Applied(photo, {"WhiteBalance", "color=#c8b496"})), 6));
    EXPECT_EQ(shown.about["width"], 600);
    EXPECT_FALSE(shown.about["isApproximate"].get<bool>());

    Json counts = shown.about["histogram"]["green"];
    std::vector<int> expected(256);
    for (std::uint32_t y = 0; y < 200; ++y) {
        for (std::uint32_t x = 0; x < 300; ++x) ++expected[static_cast<std::size_t>(SampleAt(shown.frame, x, y, 1))];
    }
    EXPECT_EQ(counts.get<std::vector<int>>(), expected);
    const Json sketch = preview.Show(Preview::MakeRendering(0, Steps(R"([{"effect": "Sketch"}])"), window)).about;
    EXPECT_TRUE(sketch["isApproximate"].get<bool>());
    EXPECT_THAT(sketch["approximate"].at(0).get<std::string>(), testing::StartsWith("Sketch: "));
}

TEST_F(PreviewServer, WritesWhatTheCommandWrites) {
    const std::string photo = MakePhoto("it's a photo.jpg");
    const Preview preview({photo, MakePhoto("b.jpg")}, {"--srgb", "--max-pixels", "99999", "--raw-white-balance",
                                                        "auto", "--raw-brightness", "1.5"});
    std::vector<std::uint8_t> png;
    Io::EncodeImage(png, Io::FileFormat::Png,
                    DrawFrame(PixFmt::Gray8, 210, 130,
                              [](int x, int y, int) {
                                  return y > 40 && y < 60 ? (x > 90 && x < 110 ? 255 : x < 10 ? 128 : 0) : 0;
                              }),
                    {}, {});
    const HttpAnswer sent = preview.Post("api/pictures?kind=strokes", std::string(png.begin(), png.end()));
    ASSERT_EQ(sent.status, 200) << sent.body;
    Json chain = Steps(R"([{"effect": "BalanceLuma", "shadows": 40}, {"effect": "Segmentation", "demoMode": true}])");
    chain[1]["with"] = sent.GetJson()["picture"];
    const Json body = {{"photo", 0}, {"chain", chain}, {"target", "it's \"new\".jpg"}, {"quality", 80}};
    const Json saved = preview.WaitForJob(preview.Post("api/save", body));
    EXPECT_EQ(saved["state"], "done") << saved;
    EXPECT_EQ(saved["files"], Json::array({"it's \"new\".jpg"}));
    EXPECT_THAT(preview.Post("api/save", body).body, HasSubstr("exists already"));

    Json renamed = body;
    renamed["target"] = "by command.jpg";
    const std::string command = preview.Post("api/command", renamed).GetJson().value("command", "");
    EXPECT_THAT(command,
                AllOf(testing::StartsWith("kalvatri apply -i "), HasSubstr("BalanceLuma shadows=40 Segmentation"),
                      HasSubstr("--quality 80"), HasSubstr("--srgb"), HasSubstr("--max-pixels 99999"),
                      HasSubstr("--raw-white-balance auto"), HasSubstr("--raw-brightness 1.5"),
                      testing::Not(HasSubstr("highlights"))));
    const std::string line =
        "PATH=\"" + std::filesystem::path(kKalvatri).parent_path().string() + ":$PATH\"; " + command;
    ASSERT_EQ(std::system(line.c_str()), 0) << line;
    const auto out = [&](const std::string& name) { return ReadFile(preview.GetOutputFolder() / name); };
    EXPECT_EQ(out("it's \"new\".jpg"), out("by command.jpg"));
    EXPECT_FALSE(out("by command.jpg").empty());

    const HttpAnswer recipe = preview.Post("api/recipe", Json{{"chain", chain}, {"target", "r.json"}});
    ASSERT_EQ(recipe.status, 200) << recipe.body;
    const Outcome byRecipe = RunKalvatri({"apply", "-q", "-i", photo, "-o", folder_.File("r.jpg"), "--quality", "80",
                                          "--settings", recipe.GetJson()["file"]});
    EXPECT_EQ(byRecipe.exitCode, 0) << byRecipe.err;
    EXPECT_EQ(ReadFile(folder_.File("r.jpg")), out("by command.jpg"));
}

TEST_F(PreviewServer, RunsBatchesAndKeepsPhotographs) {
    const Words photos = {MakePhoto("a.png"), MakePhoto("b.png", 60, 50), MakePhoto("c.png", 50, 60),
                          MakePhoto("a-kept.png")};
    WriteFile(folder_.File("bad.png"), std::string("no picture"));
    // Results lie beside the photographs here.
    const Preview preview(photos + Words{folder_.File("bad.png")}, {"--output-dir", folder_.GetPath().string()});
    const FileBytes before = ReadFile(photos[0]);
    const Json chain = Steps(R"([{"effect": "ColoredGlass"}])");
    const auto batch = [&](const char* name, const Json& which) {
        return preview.WaitForJob(preview.Post("api/batch", Json{{"photos", which}, {"chain", chain}, {"name", name}}));
    };
    const Json done = batch("{stem}-new.{ext}", {1, 2});
    EXPECT_EQ(done["state"], "done") << done;
    EXPECT_EQ(done["total"], 2);
    EXPECT_THAT(done["files"].get<Words>(), testing::UnorderedElementsAre("b-new.png", "c-new.png"));
    const Outcome applied = RunKalvatri({"apply", "-i", photos[1], "-o", folder_.File("x.png"), "ColoredGlass"});
    EXPECT_EQ(ReadFile(folder_.File("b-new.png")), ReadFile(folder_.File("x.png"))) << applied.err;

    const Json mixed = batch("{stem}-new.{ext}", {0, 1, 4});
    EXPECT_EQ(mixed["state"], "failed");
    EXPECT_EQ(mixed["files"], Json::array({"a-new.png"}));
    EXPECT_THAT(mixed["errors"].dump(), AllOf(HasSubstr("exists already"), HasSubstr("bad.png")));

    for (const char* name : {"{stem}.{ext}", "{stem}-kept.{ext}"})
        EXPECT_THAT(batch(name, {0})["errors"].dump(), HasSubstr("would overwrite the input"));
    const Json save = {{"photo", 1}, {"chain", chain}, {"target", "a.png"}, {"isOverwriting", true}};
    EXPECT_THAT(preview.Post("api/save", save).body, HasSubstr("is a photograph"));
    EXPECT_THAT(batch("../{stem}.{ext}", {0})["errors"].dump(), HasSubstr("--name"));
    EXPECT_EQ(ReadFile(photos[0]), before);
}

TEST_F(PreviewServer, GoesOnAfterWhatEndsItsProcess) {
    const Color ending(kEndingRed, SIGABRT, kEndingBlue);
    const Words photos = {MakePhoto("a.png"), Make("ending.png", MakeFrame(PixFmt::Rgb24, 20, 20, ending))};
    WriteFile(folder_.File("cut.jpg"), std::string("\xff\xd8\xff\xe0\0\x10JFIF", 10));
    const Preview preview(photos + Words{folder_.File("cut.jpg")}, {"--module", kEndsProcess});
    const HttpAnswer damaged = preview.Get("api/photos/2");
    EXPECT_EQ(damaged.status, 422);
    EXPECT_THAT(damaged.body, HasSubstr("cut.jpg"));
    const Json chain = Steps(R"([{"effect": "EndsProcess"}])");
    const HttpAnswer ended = preview.Post("api/render", Preview::MakeRendering(1, chain, Json::parse(kFit)));
    EXPECT_EQ(ended.status, 422);
    EXPECT_THAT(ended.body, HasSubstr("ended by signal 6"));
    EXPECT_TRUE(preview.Show(Preview::MakeRendering(0, chain, Json::parse(kFit))).frame != nullptr);
    const Json save = {{"photo", 1}, {"chain", chain}, {"target", "x.png"}};
    const Json job = preview.WaitForJob(preview.Post("api/save", save));
    EXPECT_EQ(job["state"], "failed");
    EXPECT_THAT(job["errors"].dump(), HasSubstr("ended by signal 6"));
}

// A photograph that never comes stands for whatever cannot be cancelled.
TEST_F(PreviewServer, GivesUpWhatIsOutdated) {
    const Preview preview({MakePhoto("a.png"), MakePipe("pipe.png")});
    ASSERT_EQ(preview.Get("api/photos/0").status, 200);
    const auto rendering = [](std::size_t photo, int sequence, const char* client = "a") {
        Json json = Preview::MakeRendering(photo, Json::array(), Json::parse(kFit));
        json["sequence"] = sequence;
        json["client"] = client;
        return json;
    };
    HttpConnection stuck(preview.GetPort()), other(preview.GetPort());
    stuck.Send(preview.MakeRequest("POST", "api/render", rendering(1, 1).dump()));
    // Another tab's picture waits, and comes all the same.
    other.Send(preview.MakeRequest("POST", "api/render", rendering(0, 1, "b").dump()));
    while (!stuck.IsAnswered()) EXPECT_EQ(preview.Post("api/render", rendering(0, 2)).status, 200);
    EXPECT_EQ(stuck.Receive().status, 409);
    EXPECT_EQ(other.Receive().status, 200);
    const Json save = {{"photo", 1}, {"chain", Steps(R"([{"effect": "EmptyEffect"}])")}, {"target", "x.png"}};
    const HttpAnswer started = preview.Post("api/save", save);
    ASSERT_EQ(started.status, 200) << started.body;
    preview.Exchange(preview.MakeRequest("DELETE", "api/jobs/1"));
    EXPECT_EQ(preview.WaitForJob(started)["state"], "cancelled");
    EXPECT_TRUE(std::filesystem::is_empty(preview.GetOutputFolder()));
}

TEST_F(PreviewServer, EndsWhateverItIsInTheMiddleOf) {
    const Preview preview({MakePhoto("a.png"), MakePipe("pipe.png")});
    ASSERT_EQ(preview.Get("api/photos/0").status, 200);
    HttpConnection idle(preview.GetPort()), stuck(preview.GetPort());
    stuck.Send(preview.MakeRequest("GET", "api/photos/1"));
    const Json save = {{"photo", 1}, {"chain", Steps(R"([{"effect": "EmptyEffect"}])")}, {"target", "x.png"}};
    ASSERT_EQ(preview.Post("api/save", save).status, 200);
    preview.GetProcess().Send(SIGINT);
    const Outcome outcome = preview.GetProcess().Wait();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.err, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(preview.GetOutputFolder()));
}

// As many as the system lets a test have at a time, up to ten thousand.
TEST_F(PreviewServer, OutlivesTenThousandRequests) {
    const Preview preview({MakePhoto("a.png")});
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    const std::size_t atOnce = std::min<std::size_t>(10000, files.rlim_cur - 200);
    std::size_t answered = 0, sent = 0;
    while (sent < 10000) {
        std::vector<std::unique_ptr<HttpConnection>> connections;
        for (std::size_t i = 0; i < atOnce && sent < 10000; ++i, ++sent) {
            auto connection = std::make_unique<HttpConnection>(preview.GetPort());
            const Json rendering = Preview::MakeRendering(0, Json::array(), Json::parse(kFit));
            if (connection->IsOpen() &&
                connection->Send(sent % 4 == 0 ? preview.MakeRequest("POST", "api/render", rendering.dump())
                                               : preview.MakeRequest("GET", "api/catalogue")))
                connections.push_back(std::move(connection));
        }
        for (const auto& connection : connections) answered += connection->Receive().status != 0;
    }
    EXPECT_GT(answered, 0u);
    EXPECT_EQ(preview.Get("api/photos").status, 200);
    EXPECT_TRUE(preview.Show(Preview::MakeRendering(0, Json::array(), Json::parse(kFit))).frame != nullptr);
}

}  // namespace

}  // namespace Orvexa::Test

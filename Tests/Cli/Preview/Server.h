// A running preview, and a client that can say anything to it.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

struct HttpAnswer {
    int status = 0;  ///< 0 when the connection ended without an answer
    std::string head, body;

    Json GetJson() const { return Json::parse(body, nullptr, false); }
};

/// A connection to a port of this machine.
class HttpConnection {
public:
    explicit HttpConnection(int port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        isOpen_ = connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
    ~HttpConnection() { close(socket_); }

    bool IsOpen() const { return isOpen_; }
    bool Send(const std::string& text) const {
        return send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    /// Whether an answer has begun to come.
    bool IsAnswered() const {
        pollfd waiting{socket_, POLLIN, 0};
        return poll(&waiting, 1, 0) > 0;
    }
    /// One answer, of which the length is known.
    HttpAnswer Receive() {
        HttpAnswer answer;
        std::size_t end = std::string::npos;
        while ((end = read_.find("\r\n\r\n")) == std::string::npos) {
            if (!Read()) return answer;
        }
        answer.head = read_.substr(0, end + 2);
        const std::size_t begin = end + 4, field = answer.head.find("Content-Length: ");
        const std::size_t length = field == std::string::npos ? 0 : std::stoul(answer.head.substr(field + 16));
        while (read_.size() < begin + length) {
            if (!Read()) return answer;
        }
        answer.body = read_.substr(begin, length);
        read_.erase(0, begin + length);
        answer.status = std::stoi(answer.head.substr(answer.head.find(' ')));
        return answer;
    }

private:
    bool Read() {
        char buffer[1 << 16];
        const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
        if (count > 0) read_.append(buffer, static_cast<std::size_t>(count));
        return count > 0;
    }

    const int socket_;
    bool isOpen_ = false;
    std::string read_;
};

/// Pixels that the server shows, and what it says about them.
struct ShownPicture {
    Json about;
    FramePtr frame;
};

/// A preview of files, which writes its results into a folder of its own.
class Preview {
public:
    Preview(const Words& photos, const Words& options = {}) {
        std::filesystem::create_directory(out_);
        const bool hasFolder = std::find(options.begin(), options.end(), "--output-dir") != options.end();
        ProcessOptions process;
        process.stdoutFile = folder_.File("address");
        process_ = std::make_unique<KalvatriProcess>(Words{"preview", "--no-open"} +
                                                         (hasFolder ? Words() : Words{"--output-dir", out_.string()}) +
                                                         options + photos,
                                                     process);
        std::string line;
        while (line.find('\n') == std::string::npos && process_->IsRunning()) {
            const FileBytes bytes = ReadFile(process.stdoutFile);
            line.assign(bytes.begin(), bytes.end());
            std::this_thread::yield();
        }
        const std::size_t begin = line.find("http://127.0.0.1:"), port = begin + 17, token = line.find('/', port) + 1;
        if (begin == std::string::npos) throw std::runtime_error("no address: " + line + process_->Wait().err);
        port_ = std::stoi(line.substr(port));
        token_ = line.substr(token, line.find('/', token) - token);
    }

    KalvatriProcess& GetProcess() const { return *process_; }
    int GetPort() const { return port_; }
    const std::string& GetToken() const { return token_; }
    const std::filesystem::path& GetOutputFolder() const { return out_; }
    std::string GetHost() const { return "127.0.0.1:" + std::to_string(port_); }

    /// A request as a browser would send it, but for what `head` replaces.
    std::string MakeRequest(const std::string& method, const std::string& path, const std::string& body = {}) const {
        return method + " /" + token_ + "/" + path + " HTTP/1.1\r\nHost: " + GetHost() +
               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    HttpAnswer Exchange(const std::string& request) const {
        HttpConnection connection(port_);
        connection.Send(request);
        return connection.Receive();
    }
    HttpAnswer Get(const std::string& path) const { return Exchange(MakeRequest("GET", path)); }
    HttpAnswer Post(const std::string& path, const std::string& body) const {
        return Exchange(MakeRequest("POST", path, body));
    }
    HttpAnswer Post(const std::string& path, const Json& body) const { return Post(path, body.dump()); }

    static Json MakeRendering(std::size_t photo, const Json& chain, const Json& view) {
        return {{"client", "a"},  {"lane", "main"},  {"sequence", 1}, {"photo", photo},
                {"chain", chain}, {"isFinal", true}, {"view", view}};
    }
    /// The whole result or the view, as it has to be after an answer without errors.
    ShownPicture Show(const Json& rendering) const {
        const HttpAnswer answer = Post("api/render", rendering);
        EXPECT_EQ(answer.status, 200) << answer.body;
        if (answer.status != 200) return {};
        const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(answer.body.at(i)); };
        const std::size_t length = byteAt(0) | byteAt(1) << 8 | byteAt(2) << 16;
        ShownPicture shown{Json::parse(answer.body.substr(4, length)), {}};
        const std::uint32_t width = shown.about["outWidth"], height = shown.about["outHeight"];
        EXPECT_EQ(length % 4, 0u);
        EXPECT_EQ(answer.body.size(), 4 + length + std::size_t{4} * width * height);
        shown.frame = NewFrame(TestAllocator(), PixFmt::Rgba, {width, height});
        for (std::uint32_t y = 0; y < height; ++y)
            std::memcpy(shown.frame->GetPlane(0).GetRow(y),
                        answer.body.data() + 4 + length + std::size_t{4} * width * y, std::size_t{4} * width);
        return shown;
    }
    /// The state of a job once it has ended.
    Json WaitForJob(const HttpAnswer& started) const {
        if (started.status != 200) return {{"state", "refused"}, {"error", started.body}};
        const std::string path = "api/jobs/" + started.GetJson()["job"].dump();
        Json state = Get(path).GetJson();
        while (state["state"] == "running") state = Get(path).GetJson();
        return state;
    }

private:
    const TempFolder folder_;
    const std::filesystem::path out_ = folder_.GetPath() / "out";
    std::unique_ptr<KalvatriProcess> process_;
    int port_ = 0;
    std::string token_;
};

}  // namespace Orvexa::Test

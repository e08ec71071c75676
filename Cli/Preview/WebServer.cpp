#include "Cli/Preview/WebServer.h"

#include <httplib.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Cli/Errors.h"
#include "Cli/Preview/HttpStatus.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kHost[] = "127.0.0.1";
constexpr int kForbidden = 403;

std::string MakeToken() {
    std::array<unsigned char, 16> bytes;
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        Throw("the system gives no random numbers");
    constexpr char kDigits[] = "0123456789abcdef";
    std::string token;
    for (const unsigned char byte : bytes) {
        token += kDigits[byte >> 4];
        token += kDigits[byte & 0xf];
    }
    return token;
}

// Compares in constant time, so that the timing does not reveal how much was right.
bool IsSame(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

// The content type of one of the page's files, by its suffix; empty if it is none. One sub-folder is allowed.
std::string FindType(std::string_view name) {
    constexpr std::pair<std::string_view, std::string_view> kTypes[] = {{".html", "text/html; charset=utf-8"},
                                                                        {".css", "text/css; charset=utf-8"},
                                                                        {".js", "text/javascript; charset=utf-8"},
                                                                        {".svg", "image/svg+xml"},
                                                                        {".png", "image/png"},
                                                                        {".ico", "image/x-icon"}};
    const auto isPlain = [](unsigned char c) {
        return (std::isalnum(c) != 0 && c < 0x80) || c == '-' || c == '_' || c == '.' || c == '/';
    };
    if (!std::all_of(name.begin(), name.end(), isPlain) || name.starts_with('/') || name.starts_with('.') ||
        name.find("/.") != std::string_view::npos || std::count(name.begin(), name.end(), '/') > 1)
        return {};
    for (const auto& [suffix, type] : kTypes) {
        if (name.ends_with(suffix)) return std::string(type);
    }
    return {};
}

// Threads that serve connections, and a queue of connections waiting for one. If too many wait, no further ones are
// accepted, and clients have to wait in the system's queue.
class ConnectionThreads : public httplib::TaskQueue {
public:
    /// Keeps the number of waiting connections in `waiting`.
    explicit ConnectionThreads(std::atomic<int>& waiting) : waitingCount_(waiting) {
        constexpr int kThreads = 64;
        for (int i = 0; i < kThreads; ++i) threads_.emplace_back([this] { Work(); });
    }

    void enqueue(std::function<void()> serve) override {
        constexpr std::size_t kMaxWaiting = 256;
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waiting_.size() < kMaxWaiting; });
        waiting_.push_back(std::move(serve));
        ++waitingCount_;
        changed_.notify_all();
    }

    void shutdown() override {
        {
            const std::lock_guard lock(mutex_);
            isEnding_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }

private:
    void Work() {
        while (true) {
            std::function<void()> serve;
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [&] { return !waiting_.empty() || isEnding_; });
                if (waiting_.empty()) return;
                serve = std::move(waiting_.front());
                waiting_.pop_front();
                --waitingCount_;
            }
            changed_.notify_all();
            serve();
        }
    }

    std::atomic<int>& waitingCount_;
    std::mutex mutex_;  // guards the members below
    std::condition_variable changed_;
    std::deque<std::function<void()>> waiting_;
    bool isEnding_ = false;
    std::vector<std::thread> threads_;
};

// One connection. It may stay idle as long as no other connection waits for its thread.
class Connection : public httplib::Stream {
public:
    Connection(socket_t socket, const std::atomic<int>& waiting) : socket_(socket), waiting_(waiting) {}

    /// Whether a request has begun to arrive. A connection that has received a response is closed at once if another
    /// waits.
    bool WaitForRequest(bool isFirst) {
        if (begin_ < end_) return true;
        return Wait(POLLIN, kIdle, isFirst ? kFirstInCrowd : std::chrono::milliseconds(0));
    }

    bool is_readable() const override { return begin_ < end_ || Wait(POLLIN, kTransfer, kTransferInCrowd); }
    bool is_writable() const override { return Wait(POLLOUT, kTransfer, kTransferInCrowd); }
    ssize_t read(char* to, size_t size) override {
        if (begin_ == end_) {
            if (!is_readable()) return -1;
            const ssize_t count = recv(socket_, buffer_.data(), buffer_.size(), 0);
            if (count <= 0) return count;
            begin_ = 0;
            end_ = static_cast<std::size_t>(count);
        }
        const std::size_t count = std::min(size, end_ - begin_);
        std::copy_n(buffer_.data() + begin_, count, to);
        begin_ += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* from, size_t size) override {
        return is_writable() ? send(socket_, from, size, MSG_NOSIGNAL) : -1;
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        ip = kHost;
        port = 0;
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override { get_remote_ip_and_port(ip, port); }
    socket_t socket() const override { return socket_; }

private:
    using Duration = std::chrono::milliseconds;
    static constexpr Duration kIdle{5000}, kFirstInCrowd{200}, kTransfer{5000}, kTransferInCrowd{500};

    // Polls in short intervals, so that connections arriving in the meantime are noticed.
    bool Wait(short events, Duration patience, Duration patienceInCrowd) const {
        constexpr int kTurn = 25;  // milliseconds
        const auto begin = std::chrono::steady_clock::now();
        while (true) {
            pollfd waiting{socket_, events, 0};
            const int count = poll(&waiting, 1, kTurn);
            if (count > 0) return true;
            if (count < 0 && errno != EINTR) return false;
            const auto waited = std::chrono::steady_clock::now() - begin;
            if (waited >= (waiting_ > 0 ? patienceInCrowd : patience)) return false;
        }
    }

    const socket_t socket_;
    const std::atomic<int>& waiting_;
    std::array<char, 1 << 14> buffer_;
    std::size_t begin_ = 0, end_ = 0;
};

// The library's server, except that it would block a thread for seconds for each idle connection.
class HttpServer : public httplib::Server {
public:
    HttpServer() {
        new_task_queue = [this] { return new ConnectionThreads(waiting_); };
    }
    /// Requests a longer accept queue than the library does.
    void LengthenQueue() {
        constexpr int kBacklog = 1024;
        ::listen(svr_sock_, kBacklog);
    }

private:
    bool process_and_close_socket(socket_t socket) override {
        Connection connection(socket, waiting_);
        bool isClosed = false;
        for (bool isFirst = true; !isClosed && connection.WaitForRequest(isFirst); isFirst = false) {
            if (!process_request(connection, false, isClosed, nullptr)) break;
        }
        shutdown(socket, SHUT_RDWR);
        close(socket);
        return true;
    }

    std::atomic<int> waiting_ = 0;  // connections
};

}  // namespace

class WebServer::Implementation {
public:
    Implementation(Api& api, Core::ioPath page, int port) : api_(api), page_(std::move(page)), token_(MakeToken()) {
        SetUp();
        port_ = port == 0 ? server_.bind_to_any_port(kHost) : server_.bind_to_port(kHost, port) ? port : -1;
        if (port_ <= 0)
            throw CommandError(ExitCode::Failed, "opening port " + std::to_string(port),
                               "it is not free; without --port a free one is taken");
        server_.LengthenQueue();
        const std::string suffix = ":" + std::to_string(port_);
        hosts_ = {kHost + suffix, "localhost" + suffix};
    }

    std::string GetAddress() const {
        return std::string("http://") + kHost + ":" + std::to_string(port_) + "/" + token_ + "/";
    }
    void Run() { server_.listen_after_bind(); }

private:
    void SetUp() {
        server_.set_tcp_nodelay(true);
        // The library would share the port with other processes.
        server_.set_socket_options([](socket_t socket) {
            const int isOn = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &isOn, sizeof isOn);
        });
        server_.set_payload_max_length(Uploads::kMaxBytes);
        server_.set_default_headers({
            {"Content-Security-Policy",
             "default-src 'self'; img-src 'self' blob: data:; object-src 'none'; base-uri 'none'; form-action 'none'; "
             "frame-ancestors 'none'"},
            {"Referrer-Policy", "no-referrer"},
            {"X-Content-Type-Options", "nosniff"},
            {"Cache-Control", "no-store"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
        });
        constexpr char kAny[] = "[^]*";
        const auto withoutBody = [this](const httplib::Request& request, httplib::Response& response) {
            Serve(request, response, {});
        };
        const auto withBody = [this](const httplib::Request& request, httplib::Response& response,
                                     const httplib::ContentReader& read) { ReadAndServe(request, response, read); };
        server_.Get(kAny, withoutBody);
        server_.Post(kAny, withBody);
        server_.Put(kAny, withBody);
        server_.Patch(kAny, withBody);
        server_.Delete(kAny, withBody);
        server_.Delete(kAny, withoutBody);
        server_.Options(kAny, withoutBody);
        server_.set_exception_handler([](const httplib::Request&, httplib::Response& response,
                                         const std::exception_ptr&) { response.status = HttpStatus::kBusy; });
    }

    // A body is always read to its end, because the connection's next request follows it. One that is too long is
    // discarded.
    void ReadAndServe(const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader& read) {
        const bool isAllowed = IsFromHere(request) && FindRest(request).has_value();
        const std::string_view rest = isAllowed ? *FindRest(request) : std::string_view();
        const std::size_t limit = isAllowed && rest.starts_with(kApi) ? Api::GetMaxBody(rest.substr(kApi.size())) : 0;
        std::string body;
        std::size_t length = 0;
        // Without a length there is no body; the library would wait for one.
        const bool isThere = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
        const bool isRead = !isThere || read([&](const char* data, std::size_t size) {
            length += size;
            if (length <= limit) body.append(data, size);
            return true;
        });
        if (!isRead && response.status != HttpStatus::kTooLarge) response.status = HttpStatus::kBadRequest;
        if (!isAllowed) return Serve(request, response, {});
        if (length > limit || response.status == HttpStatus::kTooLarge) {
            SetError(response, HttpStatus::kTooLarge,
                     "reading the request: it is longer than the " + std::to_string(limit) + " bytes that are taken");
        } else if (isRead) {
            Serve(request, response, std::move(body));
        }
    }

    void Serve(const httplib::Request& request, httplib::Response& response, std::string body) {
        if (!IsFromHere(request)) {
            response.status = kForbidden;
            return;
        }
        const std::optional<std::string_view> rest = FindRest(request);
        response.status = HttpStatus::kNotFound;
        if (!rest) return;
        if (!rest->starts_with(kApi)) {
            if (request.method == "GET" || request.method == "HEAD") ServeFile(*rest, response);
            return;
        }
        ApiRequest question{request.method, std::string(rest->substr(kApi.size())), {}, std::move(body)};
        for (const auto& [name, value] : request.params) question.parameters.emplace(name, value);
        ApiReply reply = api_.Answer(question);
        response.status = reply.status;
        response.set_header("Content-Type", reply.type);
        response.body = std::move(reply.body);
    }

    void ServeFile(std::string_view name, httplib::Response& response) const {
        if (name.empty()) name = "index.html";
        const std::string type = FindType(name);
        if (type.empty()) return;
        std::ifstream stream(page_ / name, std::ios::binary);
        if (!stream) return;
        response.body.assign(std::istreambuf_iterator<char>(stream), {});
        if (stream.bad()) return;
        response.status = HttpStatus::kDone;
        response.set_header("Content-Type", type);
    }

    // Rejects other names for this machine (DNS rebinding) and other pages in the same browser.
    bool IsFromHere(const httplib::Request& request) const {
        const auto isHost = [&](const std::string& text) {
            return std::find(hosts_.begin(), hosts_.end(), text) != hosts_.end();
        };
        const auto isOrigin = [&](const std::string& text) {
            constexpr std::string_view kScheme = "http://";
            return text.starts_with(kScheme) && isHost(text.substr(kScheme.size()));
        };
        const auto areAll = [&](const char* header, auto&& isGood) {
            const auto [begin, end] = request.headers.equal_range(header);
            return std::all_of(begin, end, [&](const auto& entry) { return isGood(entry.second); });
        };
        return request.get_header_value_count("Host") == 1 && areAll("Host", isHost) && areAll("Origin", isOrigin) &&
               areAll("Sec-Fetch-Site",
                      [](const std::string& site) { return site == "same-origin" || site == "none"; });
    }

    // The part of the request's path after the token; none without the right token.
    std::optional<std::string_view> FindRest(const httplib::Request& request) const {
        const std::string_view path = request.path;
        const std::size_t end = token_.size() + 1;
        if (path.size() <= end || path.front() != '/' || path[end] != '/' || !IsSame(path.substr(1, end - 1), token_))
            return std::nullopt;
        return path.substr(end + 1);
    }

    static void SetError(httplib::Response& response, int status, const std::string& text) {
        response.status = status;
        response.set_header("Content-Type", "application/json");
        response.body = Json{{"error", text}}.dump();
    }

    static constexpr std::string_view kApi = "api/";

    Api& api_;
    const Core::ioPath page_;
    const std::string token_;
    int port_ = 0;
    std::vector<std::string> hosts_;
    HttpServer server_;
};

WebServer::WebServer(Api& api, const Core::ioPath& page, int port)
    : implementation_(std::make_unique<Implementation>(api, page, port)) {}
WebServer::~WebServer() = default;
std::string WebServer::GetAddress() const { return implementation_->GetAddress(); }
void WebServer::Run() { implementation_->Run(); }

}  // namespace Kalvatri

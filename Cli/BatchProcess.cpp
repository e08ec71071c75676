#include "Cli/BatchProcess.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <set>
#include <utility>
#include <vector>

#include "Host/Core/Exception.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

using Length = std::uint64_t;  // of a message in bytes; precedes it

// The parent's descriptors for its children. A child closes those of the others, which would otherwise not notice that
// the parent has closed its end.
std::set<int>& ParentDescriptors() {
    static std::set<int> descriptors;
    return descriptors;
}

bool SendAll(int socket, const void* data, std::size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(socket, at, size, MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) return false;
        if (sent > 0) {
            at += sent;
            size -= static_cast<std::size_t>(sent);
        }
    }
    return true;
}

// Ctrl-C at a terminal reaches all processes of a program, but it is for the parent to abandon their pictures.
void BlockRequestsToEnd() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGPIPE})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

std::string DescribeSignal(int signal) {
    std::string text = "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    if (signal == SIGKILL)
        text += ", as the system does when memory runs out; --memory and --jobs limit what a batch takes";
    if (signal == SIGBUS) text += ", as happens when a file is shortened while it is read";
    return text;
}

}  // namespace

void Channel::Close() {
    if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
}

bool Channel::Send(const Json& message) const {
    const std::vector<std::uint8_t> bytes = Json::to_cbor(message);
    const Length length = bytes.size();
    std::vector<std::uint8_t> framed(sizeof length);
    std::memcpy(framed.data(), &length, sizeof length);
    framed.insert(framed.end(), bytes.begin(), bytes.end());
    return SendAll(descriptor_, framed.data(), framed.size());
}

bool Channel::Read() {
    std::array<char, 1 << 16> buffer;
    ssize_t count = 0;
    do {
        count = recv(descriptor_, buffer.data(), buffer.size(), 0);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    read_.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

std::optional<Json> Channel::Take() {
    Length length = 0;
    if (read_.size() < sizeof length) return std::nullopt;
    std::memcpy(&length, read_.data(), sizeof length);
    if (read_.size() - sizeof length < length) return std::nullopt;
    const auto begin = read_.begin() + sizeof length, end = begin + static_cast<std::ptrdiff_t>(length);
    Json message = Json::from_cbor(begin, end);
    read_.erase(read_.begin(), end);
    return message;
}

std::optional<Json> Channel::Receive() {
    std::optional<Json> message = Take();
    while (!message && Read()) message = Take();
    return message;
}

bool Channel::SendBytes(std::span<const std::uint8_t> bytes) const {
    return SendAll(descriptor_, bytes.data(), bytes.size());
}

bool Channel::ReceiveBytes(std::span<std::uint8_t> bytes) {
    const std::size_t buffered = std::min(read_.size(), bytes.size());
    std::copy_n(read_.begin(), buffered, bytes.begin());
    read_.erase(0, buffered);
    bytes = bytes.subspan(buffered);
    while (!bytes.empty()) {
        const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), 0);
        if (count == 0 || (count < 0 && errno != EINTR)) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    }
    return true;
}

WorkerProcess::Sockets WorkerProcess::MakeSockets() {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) Throw(std::strerror(errno));
    return {sockets[0], sockets[1]};
}

WorkerProcess::WorkerProcess(const Work& work, bool isVerbose) : WorkerProcess(work, isVerbose, MakeSockets()) {}

WorkerProcess::WorkerProcess(const Work& work, bool isVerbose, Sockets sockets) : channel_(sockets.parent) {
    if (!isVerbose) {
        output_ = memfd_create("kalvatri-worker", MFD_CLOEXEC);
        if (output_ >= 0) fcntl(output_, F_SETFL, O_APPEND);
    }
    ParentDescriptors().insert(sockets.parent);
    const pid_t parent = getpid();
    child_ = fork();
    const int error = errno;
    if (child_ == 0) RunChild(work, sockets.child, parent);
    close(sockets.child);
    if (child_ > 0) return;
    ParentDescriptors().erase(sockets.parent);
    if (output_ >= 0) close(output_);
    Throw(std::string("the system gives no further process: ") + std::strerror(error));
}

WorkerProcess::~WorkerProcess() {
    if (child_ > 0) WaitForEnd();
    ParentDescriptors().erase(channel_.GetDescriptor());
    if (output_ >= 0) close(output_);
}

// Exits without running the handlers that the parent has registered for its own exit.
void WorkerProcess::RunChild(const Work& work, int socket, pid_t parent) const {
    constexpr int kFailed = 1;
    for (const int descriptor : ParentDescriptors()) close(descriptor);
    ParentDescriptors().clear();  // the numbers may be reused for other files, and this process may have children
    BlockRequestsToEnd();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(kFailed);  // the parent ended before the child was tied to it
    if (output_ >= 0) dup2(output_, STDERR_FILENO);
    try {
        Channel channel(socket);
        work(channel);
    } catch (const std::exception& exception) {
        const std::string text = Describe(exception) + "\n";
        if (write(STDERR_FILENO, text.data(), text.size()) < 0) _exit(kFailed);
        _exit(kFailed);
    }
    _exit(0);
}

void WorkerProcess::CloseChannel() {
    ParentDescriptors().erase(channel_.GetDescriptor());
    channel_.Close();
}

void WorkerProcess::ForgetOutput() {
    if (output_ >= 0 && lseek(output_, 0, SEEK_END) > 0 && ftruncate(output_, 0) != 0)
        close(std::exchange(output_, -1));
}

void WorkerProcess::Kill() const {
    if (child_ > 0) kill(child_, SIGKILL);
}

std::string WorkerProcess::WaitForEnd() {
    Kill();  // no effect on a process that is ending; ensures that every other does
    int status = 0;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    child_ = -1;
    const std::string end = WIFSIGNALED(status) ? DescribeSignal(WTERMSIG(status))
                                                : "ended with exit code " + std::to_string(WEXITSTATUS(status));
    const std::string line = GetLastLine();
    return line.empty() ? end : end + "; it wrote: " + line;
}

std::string WorkerProcess::GetLastLine() const {
    constexpr off_t kLongest = 300;
    const off_t size = output_ >= 0 ? lseek(output_, 0, SEEK_END) : 0;
    const off_t begin = std::max<off_t>(0, size - kLongest);
    std::string text(static_cast<std::size_t>(size - begin), '\0');
    const ssize_t count = size > 0 ? pread(output_, text.data(), text.size(), begin) : 0;
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.pop_back();
    text.erase(0, text.find_last_of("\r\n") + 1);  // npos + 1 is 0
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, ' ');
    return text;
}

}  // namespace Kalvatri

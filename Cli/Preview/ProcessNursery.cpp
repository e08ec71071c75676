#include "Cli/Preview/ProcessNursery.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "Host/Core/Exception.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kStart[] = "start", kEnd[] = "end", kNumber[] = "number", kError[] = "error", kHow[] = "how";

// A descriptor must accompany at least one byte of data.
struct DescriptorMessage {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    char byte = 0;
    iovec data{&byte, 1};
    msghdr message{};

    DescriptorMessage() {
        message.msg_iov = &data;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
    }
    DescriptorMessage(const DescriptorMessage&) = delete;
    DescriptorMessage& operator=(const DescriptorMessage&) = delete;
};

void SendDescriptor(int socket, int descriptor) {
    DescriptorMessage sent;
    cmsghdr* const header = CMSG_FIRSTHDR(&sent.message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    while (sendmsg(socket, &sent.message, MSG_NOSIGNAL) < 0) {
        if (errno != EINTR) Throw(std::strerror(errno));
    }
}

int ReceiveDescriptor(int socket) {
    DescriptorMessage received;
    ssize_t count = 0;
    do {
        count = recvmsg(socket, &received.message, MSG_CMSG_CLOEXEC);
    } while (count < 0 && errno == EINTR);
    const cmsghdr* const header = count > 0 ? CMSG_FIRSTHDR(&received.message) : nullptr;
    if (header == nullptr || header->cmsg_type != SCM_RIGHTS) Throw("the process that makes others has ended");
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    return descriptor;
}

// The main loop of the nursery: children by their numbers.
void Serve(Channel& parent, int descriptors, const std::vector<WorkerProcess::Work>& works, bool isVerbose) {
    std::map<int, std::unique_ptr<WorkerProcess>> children;
    int last = 0;
    while (const std::optional<Json> message = parent.Receive()) {
        if (message->contains(kEnd)) {
            const auto child = children.find(message->at(kEnd).get<int>());
            parent.Send({{kHow, child == children.end() ? "not there" : child->second->WaitForEnd()}});
            if (child != children.end()) children.erase(child);
            continue;
        }
        try {
            auto child = std::make_unique<WorkerProcess>(
                [&](Channel& channel) {
                    close(descriptors);
                    works.at(message->at(kStart).get<std::size_t>())(channel);
                },
                isVerbose);
            parent.Send({{kNumber, ++last}});
            SendDescriptor(descriptors, child->GetChannel().GetDescriptor());
            child->CloseChannel();
            children.emplace(last, std::move(child));
        } catch (const Proc::EffectException& exception) {
            parent.Send({{kError, Describe(exception)}});
        }
    }
}

}  // namespace

ProcessNursery::Descriptors ProcessNursery::MakeDescriptors() {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) Throw(std::strerror(errno));
    return {sockets[0], sockets[1]};
}

ProcessNursery::ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose)
    : ProcessNursery(std::move(works), isVerbose, MakeDescriptors()) {}

ProcessNursery::ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose, Descriptors descriptors)
    : descriptors_(descriptors),
      process_(
          [&works, isVerbose, descriptors](Channel& parent) {
              close(descriptors.parent);
              Serve(parent, descriptors.child, works, isVerbose);
          },
          isVerbose) {
    close(descriptors_.child);
}

ProcessNursery::~ProcessNursery() { close(descriptors_.parent); }

ProcessNursery::Child ProcessNursery::Start(std::size_t work) {
    const std::lock_guard lock(mutex_);
    Channel& channel = process_.GetChannel();
    if (!channel.Send({{kStart, work}})) Throw("the process that makes others has ended");
    const std::optional<Json> answer = channel.Receive();
    if (!answer) Throw("the process that makes others has ended");
    if (answer->contains(kError)) Throw(answer->at(kError).get<std::string>());
    return {answer->at(kNumber), std::make_unique<Channel>(ReceiveDescriptor(descriptors_.parent))};
}

std::string ProcessNursery::End(int number) {
    const std::lock_guard lock(mutex_);
    Channel& channel = process_.GetChannel();
    std::optional<Json> answer;
    if (channel.Send({{kEnd, number}})) answer = channel.Receive();
    return answer ? answer->at(kHow).get<std::string>() : "ended with the process that made it";
}

}  // namespace Kalvatri

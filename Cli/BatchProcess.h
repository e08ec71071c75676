// Processes of this program that work for another one, so that a codec or an effect which ends its process ends no more
// than one picture.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "Cli/SettingsJson.h"

namespace Kalvatri {

/// One end of the connection between two processes. Messages are JSON documents whose texts may hold any bytes, as file
/// names do.
class Channel {
public:
    /// Takes over a connected socket.
    explicit Channel(int descriptor) : descriptor_(descriptor) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel() { Close(); }
    void Close();

    int GetDescriptor() const { return descriptor_; }
    /// Whether the message is on its way; false when the other process has ended.
    bool Send(const Json& message) const;
    /// Reads what has come, or waits for it; false when the other process has ended and everything it sent is read.
    bool Read();
    /// The first message that has been read and not yet been taken; none until it is complete.
    std::optional<Json> Take();
    /// Waits for the next message; none when the other process has ended.
    std::optional<Json> Receive();
    /// Bytes that follow a message which tells their number; false when the other process has ended.
    bool SendBytes(std::span<const std::uint8_t> bytes) const;
    bool ReceiveBytes(std::span<std::uint8_t> bytes);

private:
    int descriptor_;
    std::string read_;
};

/// A child process. It runs what the parent gives it and ends with it, at the latest when the parent ends or drops this
/// object. The parent must have no other thread when it makes one.
class WorkerProcess {
public:
    using Work = std::function<void(Channel& parent)>;

    /// The child keeps the signals that ask a program to end waiting: they are the parent's to answer. What it writes
    /// to stderr is kept for `WaitForEnd` unless `isVerbose`. Throws `EffectException` when the system gives no further
    /// process.
    WorkerProcess(const Work& work, bool isVerbose);
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;
    ~WorkerProcess();

    Channel& GetChannel() { return channel_; }
    /// Leaves the child to whoever else holds the parent's end of the channel.
    void CloseChannel();
    /// Forgets what the child has written to stderr so far.
    void ForgetOutput();
    /// Asks the system to end the child now; does not wait.
    void Kill() const;
    /// For a child whose channel has ended: how it did, in words such as "ended by signal 6 (Aborted)", with the last
    /// line it wrote.
    std::string WaitForEnd();

private:
    struct Sockets {
        int parent, child;
    };
    static Sockets MakeSockets();
    WorkerProcess(const Work& work, bool isVerbose, Sockets sockets);
    [[noreturn]] void RunChild(const Work& work, int socket, pid_t parent) const;
    std::string GetLastLine() const;

    Channel channel_;
    int output_ = -1;  // an unnamed file with what the child writes to stderr
    pid_t child_ = -1;
};

}  // namespace Kalvatri

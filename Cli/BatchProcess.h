// Worker processes of this program. If a codec or an effect crashes one, only one picture is lost.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "Cli/SettingsJson.h"

namespace Kalvatri {

/// One end of the connection between two processes. Messages are JSON documents whose strings may contain any bytes,
/// as file names do.
class Channel {
public:
    /// Takes over a connected socket.
    explicit Channel(int descriptor) : descriptor_(descriptor) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel() { Close(); }
    void Close();

    int GetDescriptor() const { return descriptor_; }
    /// True once the message is on its way; false if the other process has ended.
    bool Send(const Json& message) const;
    /// Reads what has arrived, or waits; false if the other process has ended and everything it sent has been read.
    bool Read();
    /// The first message that has been read but not taken; none until it is complete.
    std::optional<Json> Take();
    /// Waits for the next message; none if the other process has ended.
    std::optional<Json> Receive();
    /// Sends the bytes that follow a message stating their number; false if the other process has ended.
    bool SendBytes(std::span<const std::uint8_t> bytes) const;
    bool ReceiveBytes(std::span<std::uint8_t> bytes);

private:
    int descriptor_;
    std::string read_;
};

/// A child process. It runs the work that the parent passes in and ends with it, or at the latest when the parent
/// ends or destroys this object. The parent must be single-threaded when it creates one.
class WorkerProcess {
public:
    using Work = std::function<void(Channel& parent)>;

    /// The child blocks the signals that ask a program to end: the parent handles them. What it writes to stderr is
    /// kept for `WaitForEnd` unless `isVerbose`. Throws `EffectException` if the system cannot create another process.
    WorkerProcess(const Work& work, bool isVerbose);
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;
    ~WorkerProcess();

    Channel& GetChannel() { return channel_; }
    /// Leaves the child to whatever other process holds the parent's end of the channel.
    void CloseChannel();
    /// Discards what the child has written to stderr so far.
    void ForgetOutput();
    /// Asks the system to kill the child; does not wait.
    void Kill() const;
    /// For a child whose channel has closed: describes how it ended, such as "ended by signal 6 (Aborted)", with the
    /// last line that it wrote.
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
    int output_ = -1;  // an unnamed file that receives the child's stderr
    pid_t child_ = -1;
};

}  // namespace Kalvatri

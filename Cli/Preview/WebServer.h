// The web server of a preview, for this machine and one page alone.
#pragma once

#include <memory>
#include <string>

#include "Cli/Preview/Api.h"
#include "Host/Core/Path.h"

namespace Kalvatri {

/// Serves on 127.0.0.1 only. Every request has to carry the token in its path and the server's own name as host, and
/// must not come from a page of another origin; all others are answered without a word.
class WebServer {
public:
    /// Takes a port, any that is free if it is 0; `CommandError` if that is not possible. `page` is the folder of the
    /// page's files.
    WebServer(Api& api, const Orvexa::Core::ioPath& page, int port);
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;
    ~WebServer();

    std::string GetAddress() const;
    /// Serves until the process ends, or the system accepts no further connection.
    void Run();

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace Kalvatri

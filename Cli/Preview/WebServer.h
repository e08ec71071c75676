// The web server of a preview, restricted to this machine and one page.
#pragma once

#include <memory>
#include <string>

#include "Cli/Preview/Api.h"
#include "Host/Core/Path.h"

namespace Kalvatri {

/// Listens on 127.0.0.1 only. Every request must have the token in its path and the server's own name as host, and must
/// not come from a page of another origin; all others get an empty response.
class WebServer {
public:
    /// Binds to `port`, or to any free port if it is 0; throws `CommandError` if that fails. `page` is the folder with
    /// the page's files.
    WebServer(Api& api, const Orvexa::Core::ioPath& page, int port);
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;
    ~WebServer();

    std::string GetAddress() const;
    /// Serves until the process ends or the system accepts no further connections.
    void Run();

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace Kalvatri

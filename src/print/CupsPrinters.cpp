// Talks to CUPS over one short-lived connection per question or job.
#include "print/CupsPrinters.h"

#include <cups/cups.h>
#include <memory>
#include <sys/socket.h>

namespace qm::print {

namespace {

/// How long a question may wait for the server to answer the connection:
/// a print system that is down must not hold the screen for long.
constexpr int kConnectTimeoutMs = 5000;

struct HttpCloser
{
    void operator()(http_t* http) const { httpClose(http); }
};
using Connection = std::unique_ptr<http_t, HttpCloser>;

/// "host:port" split; a socket path or a bare host keeps the default port.
void splitServer(const std::string& server, std::string& host, int& port)
{
    host = server;
    port = ippPort();
    if (server.empty() || server.front() == '/')
        return;
    const size_t colon = server.rfind(':');
    if (colon == std::string::npos || server.find(']', colon) != std::string::npos)
        return;
    try {
        port = std::stoi(server.substr(colon + 1));
        host = server.substr(0, colon);
    } catch (const std::exception&) {
        port = ippPort();
    }
}

struct DestList
{
    cups_dest_t* dests = nullptr;
    int count = 0;
    ~DestList() { cupsFreeDests(count, dests); }
};

} // namespace

std::string CupsPrinterSystem::serverName() const
{
    if (!m_server.empty())
        return m_server;
    const std::string host = cupsServer();
    if (host.empty() || host.front() == '/')
        return host;
    return host + ":" + std::to_string(ippPort());
}

static Connection connect(const std::string& server, std::string& error)
{
    std::string host;
    int port = 0;
    splitServer(server, host, port);
    http_t* http = httpConnect2(host.c_str(), port, nullptr, AF_UNSPEC, cupsEncryption(), 1,
                                kConnectTimeoutMs, nullptr);
    if (!http)
        error = "the print system at " + server + " cannot be reached";
    return Connection(http);
}

std::vector<std::string> CupsPrinterSystem::printerNames()
{
    std::vector<std::string> names;
    std::string error;
    const Connection http = connect(serverName(), error);
    if (!http)
        return names;
    DestList list;
    list.count = cupsGetDests2(http.get(), &list.dests);
    // A printer may have saved instances (NAME/INSTANCE); the printer itself
    // is listed once, under its own name.
    for (int i = 0; i < list.count; ++i)
        if (!list.dests[i].instance)
            names.emplace_back(list.dests[i].name);
    return names;
}

std::string CupsPrinterSystem::systemDefaultName()
{
    std::string error;
    const Connection http = connect(serverName(), error);
    if (!http)
        return {};
    DestList list;
    list.count = cupsGetDests2(http.get(), &list.dests);
    for (int i = 0; i < list.count; ++i)
        if (list.dests[i].is_default)
            return list.dests[i].name;
    return {};
}

settings::Result<int> CupsPrinterSystem::printPdf(const std::string& printer,
                                                  const std::string& title,
                                                  const PdfProducer& produce)
{
    std::string error;
    const Connection http = connect(serverName(), error);
    if (!http)
        return settings::Failure(error);
    auto failure = [&](const std::string& what) {
        return settings::Failure("printer \"" + printer + "\": " + what + ": " +
                                 cupsLastErrorString());
    };
    // The job names its queue: nothing about the user's default printer changes.
    const int job = cupsCreateJob(http.get(), printer.c_str(), title.c_str(), 0, nullptr);
    if (job <= 0)
        return failure("the job could not be created");
    if (cupsStartDocument(http.get(), printer.c_str(), job, title.c_str(), CUPS_FORMAT_PDF, 1) !=
        HTTP_STATUS_CONTINUE) {
        cupsCancelJob2(http.get(), printer.c_str(), job, 0);
        return failure("the document could not be sent");
    }
    bool sent = true;
    const render::Result rendered = produce([&](const unsigned char* data, size_t size) {
        sent = cupsWriteRequestData(http.get(), reinterpret_cast<const char*>(data), size) ==
               HTTP_STATUS_CONTINUE;
        return sent;
    });
    const ipp_status_t finished = cupsFinishDocument(http.get(), printer.c_str());
    if (!rendered.ok || !sent) {
        cupsCancelJob2(http.get(), printer.c_str(), job, 0);
        if (!rendered.ok)
            return settings::Failure("printer \"" + printer + "\": " + rendered.error);
        return failure("the document could not be sent");
    }
    if (finished > IPP_STATUS_OK_EVENTS_COMPLETE)
        return failure("the printer did not accept the document");
    return job;
}

} // namespace qm::print

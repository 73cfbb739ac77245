// Talks to CUPS over one short-lived connection per question or job.
#include "print/CupsPrinters.h"

#include <cups/cups.h>
#include <exception>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace qm::print {

namespace {

/// How long a question may wait for the server to answer the connection:
/// a print system that is down must not hold the screen for long.
constexpr int kConnectTimeoutMs = 5000;

struct HttpCloser {
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

struct DestList {
    cups_dest_t* dests = nullptr;
    int count = 0;
    ~DestList() { cupsFreeDests(count, dests); }
};

Connection openConnection(const std::string& server, std::string& error)
{
    std::string host;
    int port = 0;
    splitServer(server, host, port);
    http_t* http =
        httpConnect2(host.c_str(), port, nullptr, AF_UNSPEC, cupsEncryption(), 1, kConnectTimeoutMs, nullptr);
    if (!http)
        error = "the print system at " + server + " cannot be reached";
    return Connection(http);
}

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

std::vector<std::string> CupsPrinterSystem::printerNames()
{
    std::vector<std::string> names;
    std::string error;
    const Connection http = openConnection(serverName(), error);
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
    const Connection http = openConnection(serverName(), error);
    if (!http)
        return {};
    DestList list;
    list.count = cupsGetDests2(http.get(), &list.dests);
    for (int i = 0; i < list.count; ++i)
        if (list.dests[i].is_default)
            return list.dests[i].name;
    return {};
}

settings::Result<int> CupsPrinterSystem::printPdf(const std::string& printer, const std::string& title,
                                                  const PdfProducer& produce)
{
    std::string error;
    const std::string server = serverName();
    const Connection http = openConnection(server, error);
    if (!http)
        return settings::Failure(error);
    auto failure = [&](const std::string& what) {
        return settings::Failure("printer \"" + printer + "\": " + what + ": " + cupsLastErrorString());
    };

    // The requests name the queue on the server this connection reaches,
    // not on whichever server libcups would choose by itself. The job names
    // its queue: nothing about the user's default printer changes.
    std::string host;
    int port = 0;
    splitServer(server, host, port);
    char uri[HTTP_MAX_URI];
    httpAssembleURIf(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", port, "/printers/%s",
                     printer.c_str());
    const std::string resource = "/printers/" + printer;
    auto request = [&](ipp_op_t operation, int job) {
        ipp_t* r = ippNewRequest(operation);
        ippAddString(r, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri);
        if (job > 0)
            ippAddInteger(r, IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", job);
        ippAddString(r, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
        return r;
    };
    auto cancel = [&](int job) { ippDelete(cupsDoRequest(http.get(), request(IPP_OP_CANCEL_JOB, job), "/jobs/")); };

    ipp_t* create = request(IPP_OP_CREATE_JOB, 0);
    ippAddString(create, IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr, title.c_str());
    ipp_t* created = cupsDoRequest(http.get(), create, resource.c_str());
    ipp_attribute_t* id = created ? ippFindAttribute(created, "job-id", IPP_TAG_INTEGER) : nullptr;
    const int job = id && cupsLastError() <= IPP_STATUS_OK_EVENTS_COMPLETE ? ippGetInteger(id, 0) : 0;
    ippDelete(created);
    if (job <= 0)
        return failure("the job could not be created");

    ipp_t* send = request(IPP_OP_SEND_DOCUMENT, job);
    ippAddString(send, IPP_TAG_OPERATION, IPP_TAG_NAME, "document-name", nullptr, title.c_str());
    ippAddString(send, IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr, CUPS_FORMAT_PDF);
    ippAddBoolean(send, IPP_TAG_OPERATION, "last-document", 1);
    const http_status_t started = cupsSendRequest(http.get(), send, resource.c_str(), CUPS_LENGTH_VARIABLE);
    if (started != HTTP_STATUS_CONTINUE) {
        ippDelete(send);
        const settings::Failure f = failure("the document could not be sent");
        cancel(job);
        return f;
    }
    bool sent = true;
    const render::Result rendered = produce([&](const unsigned char* data, size_t size) {
        sent = cupsWriteRequestData(http.get(), reinterpret_cast<const char*>(data), size) == HTTP_STATUS_CONTINUE;
        return sent;
    });
    ippDelete(cupsGetResponse(http.get(), resource.c_str()));
    ippDelete(send);
    const ipp_status_t finished = cupsLastError();
    if (!rendered.ok || !sent || finished > IPP_STATUS_OK_EVENTS_COMPLETE) {
        const settings::Failure f = !rendered.ok ? settings::Failure("printer \"" + printer + "\": " + rendered.error)
                                    : !sent      ? failure("the document could not be sent")
                                                 : failure("the printer did not accept the document");
        cancel(job);
        return f;
    }
    return job;
}

} // namespace qm::print

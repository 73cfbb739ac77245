// Configuration files, start-up and shut-down of the test's CUPS daemon.
#include "print/CupsServer.h"

#include "render/PdfFacts.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cups/cups.h>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace qm::testing {

namespace {

/// A port no one listens on now, as the system hands one out.
int freePort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (s >= 0 && ::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    ::close(s);
    return port;
}

http_t* connect(const std::string& address, int timeoutMs)
{
    const size_t colon = address.rfind(':');
    return httpConnect2(address.substr(0, colon).c_str(), std::stoi(address.substr(colon + 1)), nullptr, AF_INET,
                        HTTP_ENCRYPTION_NEVER, 1, timeoutMs, nullptr);
}

/// True when the server lists both queues.
bool answers(const std::string& address)
{
    http_t* http = connect(address, 500);
    if (!http)
        return false;
    cups_dest_t* dests = nullptr;
    const int count = cupsGetDests2(http, &dests);
    cupsFreeDests(count, dests);
    httpClose(http);
    return count >= 2;
}

} // namespace

bool CupsServer::start()
{
    // The daemon Debian installs; QM_TEST_CUPSD names another (or none, to see the tests skip).
    const char* chosen = std::getenv("QM_TEST_CUPSD");
    const std::string daemon = chosen && *chosen ? chosen : "/usr/sbin/cupsd";
    if (::access(daemon.c_str(), X_OK) != 0) {
        m_failure = daemon + " is not installed";
        return false;
    }
    char pattern[] = "/tmp/qm-cupsd-XXXXXX";
    if (!::mkdtemp(pattern)) {
        m_failure = "no temporary folder";
        return false;
    }
    m_root = pattern;
    for (const char* dir : {"spool", "cache", "state", "log", "tmp"})
        fs::create_directories(m_root / dir);
    m_address = "127.0.0.1:" + std::to_string(freePort());
    const std::string root = m_root.string();

    // Anyone on the loopback may do anything: the server lives for one test
    // and listens nowhere else.
    std::ofstream(m_root / "cupsd.conf") << "Listen " << m_address
                                         << "\nBrowsing No\nLogLevel warn\nPreserveJobFiles Yes\n"
                                            "PreserveJobHistory Yes\nMaxJobs 0\n"
                                            "<Location />\nOrder allow,deny\nAllow all\n</Location>\n"
                                            "<Policy default>\n<Limit All>\nOrder deny,allow\n</Limit>\n</Policy>\n";
    std::ofstream(m_root / "cups-files.conf")
        << "ServerRoot " << root << "\nRequestRoot " << root << "/spool\nCacheDir " << root << "/cache\nStateDir "
        << root << "/state\nTempDir " << root << "/tmp\nAccessLog " << root << "/log/access_log\nErrorLog " << root
        << "/log/error_log\nPageLog " << root << "/log/page_log\nFileDevice Yes\n";
    const char* queue = "DeviceURI file:///dev/null\nState Idle\nAccepting Yes\nShared No\n";
    std::ofstream(m_root / "printers.conf") << "<Printer Alpha>\n"
                                            << queue << "</Printer>\n<DefaultPrinter Test>\n"
                                            << queue << "</DefaultPrinter>\n";

    const std::string conf = root + "/cupsd.conf", files = root + "/cups-files.conf";
    const std::string log = root + "/log/daemon_output";
    m_pid = ::fork();
    if (m_pid < 0) {
        m_failure = "fork failed";
        return false;
    }
    if (m_pid == 0) {
        const int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            ::dup2(fd, 1);
            ::dup2(fd, 2);
        }
        ::execl(daemon.c_str(), daemon.c_str(), "-f", "-c", conf.c_str(), "-s", files.c_str(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            m_failure = "cupsd stopped at once: " + readBytes(log) + readBytes(root + "/log/error_log");
            return false;
        }
        if (answers(m_address))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_failure = "cupsd did not answer on " + m_address + ": " + readBytes(root + "/log/error_log");
    stop();
    return false;
}

void CupsServer::stop()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGTERM);
        int status = 0;
        for (int i = 0; i < 100 && ::waitpid(m_pid, &status, WNOHANG) == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (::waitpid(m_pid, &status, WNOHANG) == 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, &status, 0);
        }
        m_pid = -1;
    }
    if (!m_root.empty()) {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
        m_root.clear();
    }
}

std::vector<CupsServer::Job> CupsServer::jobs(const std::string& queue) const
{
    std::vector<Job> out;
    http_t* http = connect(m_address, 2000);
    if (!http)
        return out;
    cups_job_t* jobs = nullptr;
    const int count = cupsGetJobs2(http, &jobs, queue.c_str(), 0, CUPS_WHICHJOBS_ALL);
    for (int i = 0; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "d%05d-001", jobs[i].id);
        out.push_back({jobs[i].id, jobs[i].title ? jobs[i].title : "", readBytes((m_root / "spool" / name).string())});
    }
    cupsFreeJobs(count, jobs);
    httpClose(http);
    std::sort(out.begin(), out.end(), [](const Job& a, const Job& b) { return a.id < b.id; });
    return out;
}

} // namespace qm::testing

// A CUPS daemon of the test's own: loopback only, two raw queues, every document kept.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qm::testing {

/// Starts /usr/sbin/cupsd in the foreground on 127.0.0.1 and a free port,
/// with its configuration, spool, state and logs in a fresh temporary
/// folder, and stops it again. The queues are "Alpha" and "Test" (the
/// default), raw, printing to /dev/null; the server keeps every document it
/// receives, so a test reads what was printed from the spool folder.
class CupsServer {
public:
    CupsServer() = default;
    ~CupsServer() { stop(); }
    CupsServer(const CupsServer&) = delete;
    CupsServer& operator=(const CupsServer&) = delete;

    /// True once the server answers; otherwise `failure` says why (the
    /// daemon is missing, would not start, or did not answer in time).
    bool start();
    void stop();

    const std::string& failure() const { return m_failure; }
    /// "127.0.0.1:PORT".
    const std::string& address() const { return m_address; }

    struct Job {
        int id = 0;
        std::string title;
        std::string document; ///< the bytes the server received
    };
    /// Every job the queue has received, oldest first.
    std::vector<Job> jobs(const std::string& queue) const;

private:
    std::filesystem::path m_root;
    std::string m_address;
    std::string m_failure;
    int m_pid = -1;
};

} // namespace qm::testing

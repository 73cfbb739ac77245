// A PostgreSQL server of the test's own on the loopback interface.
#include "PostgresServer.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <libpq-fe.h>
#include <memory>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace qm::testing {

namespace {

int freePort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof a;
    int port = 0;
    if (::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &length) == 0)
        port = ntohs(a.sin_port);
    ::close(s);
    return port;
}

fs::path binaries()
{
    fs::path best;
    std::error_code error;
    for (const auto& version : fs::directory_iterator("/usr/lib/postgresql", error))
        if (fs::exists(version.path() / "bin/pg_ctl") && version.path() > best)
            best = version.path();
    return best.empty() ? best : best / "bin";
}

class Server {
public:
    Server()
    {
        const fs::path bin = binaries();
        if (bin.empty()) {
            why = "PostgreSQL is not installed (Debian postgresql)";
            return;
        }
        m_folder = fs::temp_directory_path() / ("qm-postgres-" + std::to_string(::getpid()));
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
        // The server refuses to run as root: as root it runs as "postgres".
        if (::geteuid() == 0) {
            const passwd* user = ::getpwnam("postgres");
            if (!user) {
                why = "running as root and there is no postgres user to run the server as";
                return;
            }
            if (::chown(m_folder.c_str(), user->pw_uid, user->pw_gid) != 0) {
                why = "cannot hand " + m_folder.string() + " to the postgres user";
                return;
            }
            m_as = "runuser -u postgres -- ";
        }
        const int port = freePort();
        const std::string data = (m_folder / "data").string();
        const std::string log = (m_folder / "server.log").string();
        const std::string initdb = m_as + (bin / "initdb").string() + " -D " + data +
                                   " -A trust -U postgres -E UTF8 --no-sync >" + (m_folder / "initdb.log").string() +
                                   " 2>&1";
        if (std::system(initdb.c_str()) != 0) {
            why = "initdb failed; see " + (m_folder / "initdb.log").string();
            return;
        }
        m_pgctl = m_as + (bin / "pg_ctl").string() + " -D " + data;
        const std::string start = m_pgctl + " -w -t 30 -l " + log + " -o '-p " + std::to_string(port) +
                                  " -h 127.0.0.1 -k " + m_folder.string() + " -F' start >/dev/null 2>&1";
        if (std::system(start.c_str()) != 0) {
            why = "the server did not start; see " + log;
            return;
        }
        m_started = true;
        base = "postgresql://postgres@127.0.0.1:" + std::to_string(port) + "/";
    }
    ~Server()
    {
        if (m_started)
            (void)std::system((m_pgctl + " -m immediate -w stop >/dev/null 2>&1").c_str());
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string why;
    std::string base;

private:
    fs::path m_folder;
    std::string m_as, m_pgctl;
    bool m_started = false;
};

} // namespace

std::string postgresQuery(const std::string& address, const std::string& sql)
{
    PGconn* c = PQconnectdb(address.c_str());
    std::string out;
    if (PQstatus(c) != CONNECTION_OK) {
        out = std::string("error: ") + PQerrorMessage(c);
    } else {
        PGresult* r = PQexec(c, sql.c_str());
        const auto status = PQresultStatus(r);
        if (status == PGRES_TUPLES_OK && PQntuples(r) > 0)
            out = PQgetvalue(r, 0, 0);
        else if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK)
            out = std::string("error: ") + PQresultErrorMessage(r);
        PQclear(r);
    }
    PQfinish(c);
    return out;
}

std::string freshPostgresDatabase(std::string& why)
{
    static Server server; // stopped when the program ends
    static int databases = 0;
    if (server.base.empty()) {
        why = server.why;
        return {};
    }
    const std::string name = "ledger_test_" + std::to_string(++databases);
    const std::string created = postgresQuery(server.base + "postgres", "CREATE DATABASE " + name);
    if (created.starts_with("error: ")) {
        why = created;
        return {};
    }
    return server.base + name;
}

} // namespace qm::testing

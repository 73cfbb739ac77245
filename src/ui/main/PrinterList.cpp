// Printer names from the CUPS command-line tools.
#include "ui/main/PrinterList.h"

#include <QProcess>
#include <QStringList>

namespace qm::ui {

namespace {

/// Standard output of a short command, or nothing when it cannot run; a
/// stuck print system must not hang the screen for long.
QString commandOutput(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(2000))
        return {};
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(1000);
        return {};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {};
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

PrinterList& installed()
{
    static PrinterList list = lpstatPrinterList();
    return list;
}

} // namespace

PrinterList lpstatPrinterList()
{
    PrinterList list;
    list.names = [] {
        std::vector<std::string> names;
        const QString out = commandOutput("lpstat", {"-e"});
        for (const QString& line : out.split('\n', Qt::SkipEmptyParts)) {
            const QString name = line.trimmed();
            if (!name.isEmpty())
                names.push_back(name.toStdString());
        }
        return names;
    };
    list.defaultName = [] {
        // "system default destination: NAME", or "no system default destination".
        const QString out = commandOutput("lpstat", {"-d"}).trimmed();
        const qsizetype colon = out.indexOf(':');
        if (colon < 0)
            return std::string();
        return out.mid(colon + 1).trimmed().toStdString();
    };
    return list;
}

PrinterList defaultPrinterList() { return installed(); }

void setDefaultPrinterList(PrinterList list) { installed() = std::move(list); }

} // namespace qm::ui

// Test doubles for printing: a print system that keeps what it is sent, and a clock moved by hand.
#pragma once

#include "browser/CPause.h"
#include "print/Printers.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace qm::testing {

/// Printers by name and a default; keeps every PDF sent, with its printer and title.
class FakePrinterSystem : public print::PrinterSystem {
public:
    struct Job {
        std::string printer;
        std::string title;
        std::string pdf;
    };

    std::vector<std::string> names;
    std::string defaultName;
    std::vector<Job> jobs;
    std::string refuseWith; ///< when set, every job fails with this reason

    std::vector<std::string> printerNames() override { return names; }
    std::string systemDefaultName() override { return defaultName; }
    settings::Result<int> printPdf(const std::string& printer, const std::string& title,
                                   const print::PdfProducer& produce) override
    {
        if (!refuseWith.empty())
            return settings::Failure(refuseWith);
        Job job{printer, title, {}};
        const render::Result r = produce([&](const unsigned char* data, size_t size) {
            job.pdf.append(reinterpret_cast<const char*>(data), size);
            return true;
        });
        if (!r.ok)
            return settings::Failure(r.error);
        jobs.push_back(std::move(job));
        return static_cast<int>(jobs.size());
    }
};

/// Time moves only when a wait idles: an eighth of a second per pass, so a
/// half-second slice is exactly four passes. `onIdle` sees the time after each.
class ManualClock : public browser::Clock {
public:
    double now = 0;
    std::function<void(double)> onIdle;

    double secondsSinceMidnight() override { return now; }
    void idle() override
    {
        now += 0.125;
        if (onIdle)
            onIdle(now);
    }
};

/// A fresh folder for the running test, named after it; the caller removes it.
inline std::filesystem::path perTestFolder(const std::string& prefix)
{
    const auto path =
        std::filesystem::temp_directory_path() /
        (prefix + std::to_string(::getpid()) + "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(path);
    return path;
}

/// Two printers, "Office" (the default) and "Label".
inline void officeAndLabel(FakePrinterSystem& printers)
{
    printers.names = {"Office", "Label"};
    printers.defaultName = "Office";
}

} // namespace qm::testing

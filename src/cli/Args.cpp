// Minimal option parsing for the command-line front end.
#include "Cli.h"

#include <algorithm>
#include <charconv>
#include <thread>

namespace qm::cli {

bool Args::flag(std::string_view name)
{
    auto it = std::find(m_args.begin(), m_args.end(), name);
    if (it == m_args.end())
        return false;
    m_args.erase(it);
    return true;
}

std::optional<std::string> Args::option(std::string_view name)
{
    for (size_t i = 0; i < m_args.size(); ++i) {
        const std::string& a = m_args[i];
        if (a == "--")
            break;
        if (a == name) {
            if (i + 1 >= m_args.size())
                throw UsageError("option " + std::string(name) + " needs a value");
            std::string value = m_args[i + 1];
            m_args.erase(m_args.begin() + i, m_args.begin() + i + 2);
            return value;
        }
        if (a.size() > name.size() && a.starts_with(name) && a[name.size()] == '=') {
            std::string value = a.substr(name.size() + 1);
            m_args.erase(m_args.begin() + i);
            return value;
        }
    }
    return std::nullopt;
}

unsigned jobsOption(Args& args)
{
    const std::optional<std::string> text = args.option("--jobs");
    if (!text)
        return std::max(1u, std::thread::hardware_concurrency());
    unsigned jobs = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), jobs);
    if (error != std::errc() || end != text->data() + text->size() || jobs < 1 || jobs > 256)
        throw UsageError("--jobs takes a whole number from 1 to 256: " + *text);
    return jobs;
}

std::vector<std::string> Args::positionals() const
{
    std::vector<std::string> result;
    bool optionsEnded = false;
    for (const std::string& a : m_args) {
        if (!optionsEnded && a == "--") {
            optionsEnded = true;
            continue;
        }
        if (!optionsEnded && a.size() > 1 && a[0] == '-')
            throw UsageError("unknown option " + a);
        result.push_back(a);
    }
    return result;
}

std::vector<std::string> Args::positionals(size_t min, size_t max, std::string_view usage) const
{
    std::vector<std::string> result = positionals();
    if (result.size() < min || result.size() > max)
        throw UsageError("usage: quillmeter " + std::string(usage));
    return result;
}

} // namespace qm::cli

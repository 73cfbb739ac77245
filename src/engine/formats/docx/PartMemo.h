// What was made of a package part, kept for the process by the part's bytes.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace qm::engine::docx {

/// Documents saved by one program from one template hold the same parts byte
/// for byte (theme, styles, font table, relationships): what was made of one
/// is kept by a key made of its bytes, so a part met before is neither
/// inflated nor parsed again. Keys longer than `MaxKeyBytes` are not kept, and
/// a memo holding `MaxValues` starts afresh: more held on to would cost more
/// in fresh memory than the parses it saves. Safe to share between threads.
template <typename Value, size_t MaxKeyBytesT, size_t MaxValues>
class PartMemo {
public:
    static constexpr size_t MaxKeyBytes = MaxKeyBytesT;

    std::optional<Value> find(const std::string& key)
    {
        std::lock_guard lock(m_mutex);
        if (auto it = m_values.find(key); it != m_values.end())
            return it->second;
        return std::nullopt;
    }
    void keep(std::string key, const Value& value)
    {
        if (key.size() > MaxKeyBytes)
            return;
        std::lock_guard lock(m_mutex);
        if (m_values.size() >= MaxValues)
            m_values.clear();
        m_values.emplace(std::move(key), value);
    }

private:
    std::mutex m_mutex;
    std::unordered_map<std::string, Value> m_values;
};

} // namespace qm::engine::docx

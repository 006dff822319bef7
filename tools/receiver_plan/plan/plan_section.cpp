#include "receiver_plan/plan/plan_section.h"

#include <algorithm>
#include <utility>

#include "command_line/duration.h"

namespace receiver {
namespace {

constexpr uint64_t kDayMs = uint64_t{24} * 3600 * 1000;
constexpr uint64_t kMaxAgeMs = 3660 * kDayMs;

// "30d" or "4w", or a duration.
std::optional<uint64_t> ParseAge(const std::string& text) {
    const size_t digits = text.find_first_not_of("0123456789");
    if (digits == 0 || digits > 5 || digits + 1 != text.size()) return ParseDuration(text);
    const uint64_t number = std::stoul(text);
    if (text.back() == 'd') return number * kDayMs;
    if (text.back() == 'w') return number * 7 * kDayMs;
    return ParseDuration(text);
}

}  // namespace

std::string FaultLine(const std::string& path, const PlanFault& fault) {
    std::string line = path + ":" + std::to_string(fault.line) + ": ";
    if (!fault.key.empty()) line += fault.key + ": ";
    line += fault.text;
    if (!fault.remedy.empty()) line += "; " + fault.remedy;
    return line;
}

PlanSection::PlanSection(std::string path, const toml::table& table, const PlanSection* defaults,
                         PlanFaults& faults)
    : path_(std::move(path)),
      table_(table),
      defaults_(defaults),
      faults_(faults),
      line_(std::max<size_t>(1, table.source().begin.line)) {}

void PlanSection::Allow(const std::vector<std::string>& names) const {
    for (const auto& [key, value] : table_) {
        const std::string typed(key.str());
        if (std::find(names.begin(), names.end(), typed) != names.end()) continue;
        const std::string nearest = NearestName(typed, names);
        std::string all;
        for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
        faults_.Add({key.source().begin.line, path_.empty() ? typed : path_ + "." + typed,
                     "not a key of a plan",
                     nearest.empty() ? "there are " + all : "did you mean \"" + nearest + "\"?"});
    }
}

const toml::table* PlanSection::Table(const std::string& key) const {
    const toml::node* const node = table_.get(key);
    if (node == nullptr) {
        Missing(key, "add a [" + (path_.empty() ? "" : path_ + ".") + key + "] section");
        return nullptr;
    }
    if (node->is_table()) return node->as_table();
    Fault(key, "not a section", "write [" + (path_.empty() ? "" : path_ + ".") + key + "]");
    return nullptr;
}

const PlanSection& PlanSection::SayingSection(const std::string& key) const {
    return table_.contains(key) || defaults_ == nullptr ? *this : *defaults_;
}

bool PlanSection::Has(const std::string& key) const {
    return SayingSection(key).table_.contains(key);
}

size_t PlanSection::LineOf(const std::string& key) const {
    for (const auto& [name, value] : SayingSection(key).table_) {
        if (name.str() == key) return name.source().begin.line;
    }
    return line_;
}

std::optional<std::string> PlanSection::Text(const std::string& key) const {
    const toml::node* const node = SayingSection(key).table_.get(key);
    if (node == nullptr) return {};
    std::optional<std::string> text = node->value_exact<std::string>();
    if (!text) {
        Fault(key, "not a text", "put it between quotation marks");
    } else if (text->empty()) {
        Fault(key, "empty", "say something, or leave the key out");
    } else if (text->find_first_of(std::string("\n\r\0", 3)) != std::string::npos) {
        Fault(key, "has a line end in it", "write it in one line");
    } else {
        return text;
    }
    return {};
}

std::vector<std::string> PlanSection::Texts(const std::string& key) const {
    const toml::node* const node = SayingSection(key).table_.get(key);
    if (node == nullptr) return {};
    const toml::array* const list = node->as_array();
    if (list == nullptr) {
        const std::optional<std::string> text = Text(key);
        return text ? std::vector<std::string>{*text} : std::vector<std::string>{};
    }
    std::vector<std::string> texts;
    for (const toml::node& item : *list) {
        const std::optional<std::string> text = item.value_exact<std::string>();
        if (text && !text->empty() &&
            text->find_first_of(std::string("\n\r\0", 3)) == std::string::npos) {
            texts.push_back(*text);
        } else {
            Fault(key, "has something in it that is not a text of one line",
                  "put each between quotation marks");
        }
    }
    if (list->empty()) Fault(key, "an empty list", "name at least one, or leave the key out");
    return texts;
}

std::optional<uint64_t> PlanSection::Duration(const std::string& key, uint64_t leastMs,
                                              uint64_t mostMs) const {
    const std::optional<std::string> text = Text(key);
    if (!text) return {};
    const std::optional<uint64_t> ms = ParseDuration(*text);
    if (ms && *ms >= leastMs && *ms <= mostMs) return ms;
    Fault(key, "\"" + *text + "\" is not a duration",
          "write one from " + FormatDuration(leastMs) + " to " + FormatDuration(mostMs) +
              ", as 1h30m");
    return {};
}

std::optional<uint64_t> PlanSection::Age(const std::string& key) const {
    const std::optional<std::string> text = Text(key);
    if (!text) return {};
    const std::optional<uint64_t> ms = ParseAge(*text);
    if (ms && *ms >= kDayMs / 24 && *ms <= kMaxAgeMs) return ms;
    Fault(key, "\"" + *text + "\" is not how long to keep something",
          "write 1h to 3660d, as 30d or 4w");
    return {};
}

std::optional<unsigned> PlanSection::Count(const std::string& key, unsigned most) const {
    const toml::node* const node = SayingSection(key).table_.get(key);
    if (node == nullptr) return {};
    const std::optional<int64_t> number = node->value_exact<int64_t>();
    if (number && *number >= 1 && *number <= most) return static_cast<unsigned>(*number);
    Fault(key, "not a number of " + key, "write a number from 1 to " + std::to_string(most));
    return {};
}

void PlanSection::Fault(const std::string& key, const std::string& text,
                        const std::string& remedy) const {
    const PlanSection& saying = key.empty() ? *this : SayingSection(key);
    std::string path = saying.path_;
    if (!key.empty()) path += (path.empty() ? "" : ".") + key;
    faults_.Add({key.empty() ? line_ : LineOf(key), path, text, remedy});
}

void PlanSection::Missing(const std::string& key, const std::string& remedy) const {
    faults_.Add({line_, path_, "\"" + key + "\" is missing", remedy});
}

}  // namespace receiver

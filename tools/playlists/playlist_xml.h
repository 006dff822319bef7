// The little of XML that playlists are written in, read as leniently as players do: names in any
// case, values unquoted, elements that nobody closes. Entities that a text declares itself are not
// followed. Pure; the time is linear in the text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace receiver {

class XmlTags final {
public:
    // The text outlives the object.
    explicit XmlTags(std::string_view text) : text_(text) {}

    // To the next opening tag; false at the end. Comments, instructions, declarations and closing
    // tags are passed over.
    bool Next();
    // Of the tag: in lower case and without a namespace's prefix.
    const std::string& Name() const { return name_; }
    // The attribute of that name, which is in lower case.
    std::optional<std::string> Attribute(std::string_view name) const;
    // What follows the tag, up to the next one: trimmed, entities and CDATA resolved.
    std::string Text() const;

private:
    bool SkipPast(std::string_view end);

    std::string_view text_;  // behind the tag
    std::string name_;
    std::string_view attributes_;
};

}  // namespace receiver

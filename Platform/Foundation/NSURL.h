// A URL: text that is a valid URI reference by RFC 2396 (host literals in brackets as in RFC 2732), and its parts.
//
// Nothing is repaired or normalised: a character that the grammar does not allow, or a "%" without two hexadecimal
// digits behind it, means that there is no URL. Relative references and the empty text are valid.
// A value; may be copied and read on any thread.
#pragma once

#include "NSString.h"

namespace platform {

class NSURL {
public:
    // Absent when the text is not a valid URI reference. absoluteString of the result is exactly the text.
    [[nodiscard]] static std::optional<NSURL> URLWithString(StringView text);

    // <scheme>://<host><path> from unescaped parts: in the path everything is escaped that would otherwise be refused
    // or read as something else than path ("%", "?", "#", ";" included), in the host what would be refused. An IPv6
    // host gets its brackets. Absent when the scheme is not one or a path without a leading "/" would run into the
    // host.
    [[nodiscard]] static std::optional<NSURL> initWithScheme_host_path(StringView scheme, StringView host,
                                                                       StringView path);

    [[nodiscard]] const String& absoluteString() const { return text_; }
    // What "%@" prints.
    [[nodiscard]] const String& description() const { return text_; }

    // As written, in the case in which it was written; absent in a relative reference.
    [[nodiscard]] std::optional<String> scheme() const { return written(scheme_); }
    // Escapes resolved, without the brackets of an IPv6 literal; absent when empty or when there is no "//".
    [[nodiscard]] std::optional<String> host() const;
    // Absent when not given, empty, not a number or above 2147483647.
    [[nodiscard]] std::optional<int> port() const;
    // Escapes resolved; empty for "http://host"; absent in an opaque URL such as "mailto:a@example.org".
    [[nodiscard]] std::optional<String> path() const;
    // As written, without "?", "#", ":" and "@".
    [[nodiscard]] std::optional<String> query() const { return written(query_); }
    [[nodiscard]] std::optional<String> fragment() const { return written(fragment_); }
    [[nodiscard]] std::optional<String> user() const { return written(user_); }
    [[nodiscard]] std::optional<String> password() const { return written(password_); }

    friend bool operator==(const NSURL& a, const NSURL& b) { return a.text_ == b.text_; }

private:
    struct Part {
        std::size_t begin = 0;
        std::size_t length = 0;
        bool present = false;
    };

    NSURL() = default;
    [[nodiscard]] StringView view(Part part) const { return StringView(text_).substr(part.begin, part.length); }
    [[nodiscard]] std::optional<String> written(Part part) const;
    [[nodiscard]] bool parse();
    [[nodiscard]] bool parseHierarchy(std::size_t begin, std::size_t end);
    [[nodiscard]] bool parseAuthority(std::size_t begin, std::size_t end);

    String text_;
    Part scheme_, user_, password_, host_, port_, path_, query_, fragment_;
};

} // namespace platform

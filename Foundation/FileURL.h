#pragma once

#include "Foundation/SharedText.h"
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Orvex {

/// An absolute `file:` URL (RFC 8089) of this machine, in one canonical spelling: `file://`, then the path
/// with every byte that is not allowed in a URL path percent-encoded (RFC 3986). The file need not exist.
class FileURL {
  public:
    /// The URL of a path; a relative one is taken from the current folder. Components "." are dropped; ".."
    /// stays, since what it means depends on symbolic links. Throws `std::runtime_error` when the path is
    /// relative and the current folder is gone.
    [[nodiscard]] static FileURL fromPath(std::string_view path);

    /// True for a text that begins with "file:", in any letter case.
    [[nodiscard]] static bool hasScheme(std::string_view text);

    /// Reads `file:///path`, `file://localhost/path` or `file:/path`. No value for another scheme, another
    /// host, a query or fragment, a malformed escape, or a path with a control character in the clear or an
    /// encoded NUL: `fault`, if there is one, becomes the reason and what helps, for an error.
    [[nodiscard]] static std::optional<FileURL> parse(std::string_view text, std::string* fault = nullptr);

    /// In printable ASCII, without double quotes or backslashes. The view lives as long as any copy of the
    /// URL.
    [[nodiscard]] std::string_view text() const noexcept { return text_; }

    /// The absolute path, decoded: the bytes to hand to the file system.
    [[nodiscard]] std::string path() const;

    friend bool operator==(const FileURL&, const FileURL&) = default;

  private:
    explicit FileURL(SharedText text) noexcept : text_(std::move(text)) {}
    static FileURL ofAbsolutePath(std::string_view path);

    SharedText text_;
};

} // namespace Orvex

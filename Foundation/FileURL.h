#pragma once

#include "Foundation/SharedText.h"
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Orvex {

/// An absolute `file:` URL (RFC 8089) without a host, in canonical spelling: `file://` and the path, in which
/// all bytes are percent-encoded except those that RFC 3986 allows there. The file need not exist.
class FileURL {
  public:
    /// Returns the URL of a path, which may be relative to the current folder. Removes components "." but
    /// keeps "..", whose meaning depends on symbolic links. Throws `std::runtime_error` if the path is
    /// relative and the current folder has been removed.
    [[nodiscard]] static FileURL fromPath(std::string_view path);

    /// Returns true for a text that begins with "file:", in any letter case.
    [[nodiscard]] static bool hasScheme(std::string_view text);

    /// Parses `file:///path`, `file://localhost/path` or `file:/path`. No value for another scheme or host, a
    /// query or fragment, a malformed escape, an unencoded ASCII control character or an encoded NUL. Then
    /// `*fault`, unless null, becomes the reason and what helps, for an error.
    [[nodiscard]] static std::optional<FileURL> parse(std::string_view text, std::string* fault = nullptr);

    /// Printable ASCII, without double quotes or backslashes. The view is valid as long as any copy of the
    /// URL.
    [[nodiscard]] std::string_view text() const noexcept { return text_; }

    /// Returns the absolute path, decoded.
    [[nodiscard]] std::string path() const;

    friend bool operator==(const FileURL&, const FileURL&) = default;

  private:
    explicit FileURL(SharedText text) noexcept : text_(std::move(text)) {}
    static FileURL ofAbsolutePath(std::string_view path);

    SharedText text_;
};

} // namespace Orvex

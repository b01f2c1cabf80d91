// Replacing a file's content so that readers see either the old or the new
// content, never a mixture, whatever happens in between.
#ifndef XMLUTIL_TOOLS_ATOMIC_WRITE_H
#define XMLUTIL_TOOLS_ATOMIC_WRITE_H

#include <cstddef>
#include <string>

namespace xmlutil_cli {

// Writes all `size` bytes at `data` to `fd`, resuming after partial writes
// and interruptions. Returns 0 or the errno of the failed write.
int write_all(int fd, const char* data, std::size_t size);

// Replaces the content of the existing file `path` by `content`: writes a new
// file in the same directory, flushes it to disk, gives it the old file's
// permission bits (and owner, where allowed) and renames it over the old one.
// A symbolic link is followed and stays a link. Returns 0, or the errno of the
// step that failed; the old file is then untouched and the new one removed.
int replace_file_content(const std::string& path, const std::string& content);

} // namespace xmlutil_cli

#endif // XMLUTIL_TOOLS_ATOMIC_WRITE_H

// SPDX-License-Identifier: Apache-2.0
// Replacing a file's content so that readers see either the old or the new
// content, never a mixture, whatever happens in between (a file with other
// hard links has a short exception, see file_replacement). Shared by the
// library's SaveToFile and the command-line tool; nothing here is exported.
#ifndef XMLUTIL_FILE_REPLACE_H
#define XMLUTIL_FILE_REPLACE_H

#include <signal.h>
#include <sys/stat.h>

#include <cstddef>
#include <memory>
#include <streambuf>
#include <string>

namespace xmlutil_detail {

// Temporary files are named this prefix plus six random characters, in the
// directory of the file they replace. Only a save killed outright (SIGKILL,
// power loss) leaves one behind; anything with this name is such a leftover.
constexpr const char kTemporaryPrefix[] = ".xmlutil-";

// What happens to a file with more than one hard link. Renaming a new file
// over one of its names would leave the others with the old content.
enum class hard_link_policy {
    keep,   // write the new content into the file itself; see file_replacement
    refuse, // fail with EMLINK at step check_links, touching nothing
};

struct replace_options {
    hard_link_policy hard_links = hard_link_policy::keep;
};

// The step of a replacement that failed. With the errno value it tells the
// real cause apart: EACCES at check_file is a read-only file, EACCES at
// check_directory a directory that cannot take the temporary file.
enum class replace_step {
    none,             // nothing failed
    find_file,        // following the name and its symbolic links
    check_file,       // the file may not be written
    check_directory,  // the directory is missing or may not be written
    check_links,      // refused: the file has other hard links
    open_file,        // opening a FIFO or device to write in place
    create_temporary, // creating the new file beside the old one
    copy_attributes,  // giving the new file the old one's owner and mode
    write,            // writing the new content
    sync,             // flushing the new content to disk and closing it
    replace,          // renaming it into place, or copying it into a linked file
    sync_directory,   // flushing the rename; the new content is in place already
};

// How a replacement ended: error 0 is success.
struct replace_failure {
    int error = 0; // an errno value
    replace_step step = replace_step::none;

    explicit operator bool() const noexcept { return error != 0; }
};

// One line of English that names the cause of `failure`, such as
// "directory not writable", "file is read-only" or "no space left on
// device"; empty for success.
std::string replace_failure_message(const replace_failure& failure);

// A stream buffer that replaces the content of the file `path` by what is
// written to it, once commit() succeeds:
// - a regular file gets a new file in its directory, which is flushed to
//   disk, given the old file's mode (and owner, where allowed) and renamed
//   over it; the directory is flushed afterwards;
// - a file with other hard links gets the new content copied into it once
//   the new file is complete on disk (or is refused, as options say);
// - a symbolic link is followed to its file, and stays a link;
// - a missing file is created, with mode 0666 less the umask;
// - a FIFO, device or other special file is opened and written directly;
// - a file whose mode has no write permission is refused, even for root,
//   as is one that the user cannot write, or a directory without write
//   permission where a new file would go.
// Except for special files, nothing changes before commit(); destroying the
// buffer without commit() removes the new file. Hang-up, interrupt, quit,
// terminate and broken-pipe signals are held back while the new file exists,
// so that they cannot leave it behind, and delivered afterwards. Use from
// one thread.
class file_replacement : public std::streambuf {
public:
    explicit file_replacement(const std::string& path, const replace_options& options = {});
    ~file_replacement() override;
    file_replacement(const file_replacement&) = delete;
    file_replacement& operator=(const file_replacement&) = delete;

    // The first failure so far; once set, writes are refused and commit()
    // only cleans up.
    const replace_failure& failure() const noexcept { return failure_; }

    // Puts the new content in place. On failure the old content is untouched
    // (but see the hard-link case in the source) and the new file removed.
    replace_failure commit();

    // Drops the new content and removes the new file; commit() then fails
    // with ECANCELED. The destructor does the same without commit().
    void abort() noexcept;

protected:
    int_type overflow(int_type ch) override;
    std::streamsize xsputn(const char* data, std::streamsize count) override;
    // Writing happens in large blocks only: the writer's std::endl after
    // each line must not cost a system call.
    int sync() override { return 0; }

private:
    enum class method { none, rename, copy_into, in_place };

    void open(const std::string& path, const replace_options& options);
    bool write_out();
    void set_failure(int error, replace_step step);
    void finish_rename();
    void finish_copy_into();
    void clean_up() noexcept;
    void hold_signals() noexcept;
    void release_signals() noexcept;

    method method_ = method::none;
    int fd_ = -1;                // the new file, or the special file itself
    std::string target_;         // the file whose content is replaced, links followed
    std::string directory_;      // its directory
    std::string temporary_;      // the new file's name, while it exists
    struct stat old_stat_ {};    // the file's, when it exists
    bool target_exists_ = false;
    bool holding_signals_ = false;
    replace_failure failure_;
    std::unique_ptr<char[]> buffer_;
};

// Writes all `size` bytes at `data` to `fd`, resuming after partial writes
// and interruptions. Returns 0 or the errno of the failed write.
int write_all(int fd, const char* data, std::size_t size);

// Replaces the content of `path` by `content` with a file_replacement.
replace_failure replace_file(const std::string& path, const std::string& content,
                             const replace_options& options = {});

// The same, returning 0 or the errno value of the failed step.
int replace_file_content(const std::string& path, const std::string& content);

} // namespace xmlutil_detail

#endif // XMLUTIL_FILE_REPLACE_H

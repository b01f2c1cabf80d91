// SPDX-License-Identifier: Apache-2.0
#include "file_replace.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace xmlutil_detail {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;

// Replacements of one thread may overlap in any order; the first to hold
// the signals saves the mask, the last to let go restores it.
thread_local int tHolds = 0;
thread_local sigset_t tSavedMask;
// The kernel gives up after as many links in one path lookup.
constexpr int kMaxLinks = 40;

// A mode without any write permission means "read-only" to the user, even
// where root could write anyway: a save must not replace such a file.
int check_writable(const std::string& path, mode_t mode, int access_mode)
{
    if ((mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        return EACCES;
    // The effective ids, as open() would use them.
    if (::faccessat(AT_FDCWD, path.c_str(), access_mode, AT_EACCESS) != 0)
        return errno;
    return 0;
}

std::string directory_of(const std::string& path)
{
    const std::string::size_type slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

// Follows the symbolic links from `path` to the name of the file itself,
// which need not exist yet (a link may point at a file to be created).
int follow_links(const std::string& path, std::string& name, struct stat& st, bool& exists)
{
    name = path;
    std::vector<char> link(256);
    for (int followed = 0; followed <= kMaxLinks; ++followed) {
        if (::lstat(name.c_str(), &st) != 0) {
            if (errno != ENOENT)
                return errno;
            exists = false;
            return 0;
        }
        if (!S_ISLNK(st.st_mode)) {
            exists = true;
            return 0;
        }
        ssize_t length;
        while ((length = ::readlink(name.c_str(), link.data(), link.size())) >= 0 &&
               static_cast<std::size_t>(length) == link.size()) {
            link.resize(link.size() * 2);
        }
        if (length < 0)
            return errno;
        std::string target(link.data(), static_cast<std::size_t>(length));
        if (target.empty())
            return ENOENT;
        // A relative link is relative to the directory that holds it.
        const std::string::size_type slash = name.rfind('/');
        if (target[0] != '/' && slash != std::string::npos)
            target.insert(0, name, 0, slash + 1);
        name = std::move(target);
    }
    return ELOOP;
}

std::string random_suffix()
{
    static const char kAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    unsigned char bytes[6];
    if (::getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof bytes)) {
        // Without entropy, clock, process and a counter still rarely repeat;
        // O_EXCL catches the rest.
        static thread_local std::uint64_t counter = 0;
        timespec now {};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        std::uint64_t mix = static_cast<std::uint64_t>(now.tv_nsec) ^ (static_cast<std::uint64_t>(now.tv_sec) << 30) ^
                            (static_cast<std::uint64_t>(::getpid()) << 40) ^ (++counter * 0x9E3779B97F4A7C15ull);
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(mix);
            mix = (mix >> 8) | (mix << 56);
        }
    }
    std::string suffix;
    for (unsigned char byte : bytes)
        suffix += kAlphabet[byte % (sizeof kAlphabet - 1)];
    return suffix;
}

// A short name of our own, not the target's name plus a suffix: that would
// not fit for target names near the 255-byte limit.
int create_temporary(const std::string& directory, mode_t mode, std::string& name, int& fd)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string candidate = directory + "/" + kTemporaryPrefix + random_suffix();
        fd = ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, mode);
        if (fd >= 0) {
            // Held until the file is renamed or removed: a temporary that
            // nobody holds is the leftover of a killed save.
            ::flock(fd, LOCK_EX | LOCK_NB);
            name = std::move(candidate); // cannot throw: the file must not go unnamed
            return 0;
        }
        if (errno != EEXIST)
            return errno;
    }
    return EEXIST;
}

// Removes what saves killed outright (SIGKILL, power loss) left in
// `directory`: temporaries of ours that no process holds locked any more.
void remove_stale_temporaries(const std::string& directory)
{
    DIR* dir = ::opendir(directory.c_str());
    if (!dir)
        return;
    const std::size_t prefix = std::strlen(kTemporaryPrefix);
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strncmp(entry->d_name, kTemporaryPrefix, prefix) != 0 || std::strlen(entry->d_name) != prefix + 6)
            continue;
        const std::string path = directory + "/" + entry->d_name;
        const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        if (fd < 0)
            continue;
        struct stat st {};
        if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0)
            ::unlink(path.c_str());
        ::close(fd);
    }
    ::closedir(dir);
}

// Gives the new file the old one's owner and mode.
int copy_attributes(int fd, const struct stat& old_stat)
{
    // Only a privileged user may give a file away; anyone else keeps the
    // file as their own, as any editor that saves by renaming does.
    if ((old_stat.st_uid != ::geteuid() || old_stat.st_gid != ::getegid()) &&
        ::fchown(fd, old_stat.st_uid, old_stat.st_gid) != 0 && errno != EPERM) {
        return errno;
    }
    // After fchown, which may clear the set-id bits.
    if (::fchmod(fd, old_stat.st_mode & 07777) != 0)
        return errno;
    return 0;
}

// Makes the rename itself durable.
int sync_directory(const std::string& dir)
{
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int error = 0;
    // Some file systems cannot sync a directory and say so with EINVAL;
    // there is nothing more to be done on them.
    if (::fsync(fd) != 0 && errno != EINVAL)
        error = errno;
    ::close(fd);
    return error;
}

int close_fd(int& fd)
{
    const int closing = fd;
    fd = -1;
    return ::close(closing) == 0 ? 0 : errno;
}

std::string lower_first(const char* text)
{
    std::string line(text);
    if (!line.empty() && line[0] >= 'A' && line[0] <= 'Z')
        line[0] = static_cast<char>(line[0] - 'A' + 'a');
    return line;
}

const char* step_text(replace_step step)
{
    switch (step) {
    case replace_step::none: break;
    case replace_step::find_file: return "cannot reach the file";
    case replace_step::check_file: return "file not writable";
    case replace_step::check_directory: return "directory not usable";
    case replace_step::check_links: return "file has other hard links";
    case replace_step::open_file: return "cannot open the file";
    case replace_step::create_temporary: return "cannot create a temporary file beside it";
    case replace_step::copy_attributes: return "cannot give the new file the old one's owner and mode";
    case replace_step::write: return "cannot write the new content";
    case replace_step::sync: return "cannot flush the new content to disk";
    case replace_step::replace: return "cannot put the new content in place";
    case replace_step::sync_directory: return "new content in place, but its directory could not be flushed to disk";
    }
    return "failed";
}

} // namespace

std::string replace_failure_message(const replace_failure& failure)
{
    if (!failure)
        return std::string();
    // Causes that read the same at whatever step they show up.
    switch (failure.error) {
    case ENOSPC: return "no space left on device";
    case EDQUOT: return "disk quota exceeded";
    case EFBIG: return "file too large";
    case EIO: return "input/output error";
    case EROFS: return "read-only file system";
    default: break;
    }
    switch (failure.step) {
    case replace_step::find_file:
        if (failure.error == EISDIR)
            return "is a directory";
        if (failure.error == ELOOP)
            return "too many levels of symbolic links";
        if (failure.error == ENOTDIR)
            return "a part of the path is not a directory";
        if (failure.error == ENOENT)
            return "no file name given";
        break;
    case replace_step::check_file:
        if (failure.error == EACCES || failure.error == EPERM)
            return "file is read-only";
        break;
    case replace_step::check_directory:
        if (failure.error == EACCES || failure.error == EPERM)
            return "directory not writable";
        if (failure.error == ENOENT)
            return "directory does not exist";
        if (failure.error == ENOTDIR)
            return "a part of the path is not a directory";
        break;
    case replace_step::check_links:
        if (failure.error == EMLINK)
            return "file has other hard links, which a replacement would leave with the old content";
        break;
    case replace_step::create_temporary:
        if (failure.error == EACCES || failure.error == EPERM)
            return "directory not writable";
        break;
    default: break;
    }
    return std::string(step_text(failure.step)) + ": " + lower_first(std::strerror(failure.error));
}

// ---- file_replacement ------------------------------------------------------------------

file_replacement::file_replacement(const std::string& path, const replace_options& options)
{
    try {
        open(path, options);
    } catch (...) {
        clean_up();
        throw;
    }
}

file_replacement::~file_replacement()
{
    clean_up();
}

void file_replacement::open(const std::string& path, const replace_options& options)
{
    buffer_.reset(new char[kBufferSize]);
    if (path.empty()) {
        set_failure(ENOENT, replace_step::find_file);
        return;
    }
    if (int error = follow_links(path, target_, old_stat_, target_exists_)) {
        set_failure(error, replace_step::find_file);
        return;
    }
    if (target_exists_) {
        if (S_ISDIR(old_stat_.st_mode)) {
            set_failure(EISDIR, replace_step::find_file);
            return;
        }
        if (int error = check_writable(target_, old_stat_.st_mode, W_OK)) {
            set_failure(error, replace_step::check_file);
            return;
        }
        if (!S_ISREG(old_stat_.st_mode)) {
            // A FIFO or a device is a channel, not a store: a file renamed
            // over it would do away with the channel.
            fd_ = ::open(target_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY);
            if (fd_ < 0) {
                set_failure(errno, replace_step::open_file);
                return;
            }
            method_ = method::in_place;
            setp(buffer_.get(), buffer_.get() + kBufferSize);
            return;
        }
    }

    directory_ = directory_of(target_);
    struct stat dir_stat {};
    if (::stat(directory_.c_str(), &dir_stat) != 0) {
        set_failure(errno, replace_step::check_directory);
        return;
    }
    if (!S_ISDIR(dir_stat.st_mode)) {
        set_failure(ENOTDIR, replace_step::check_directory);
        return;
    }
    if (int error = check_writable(directory_, dir_stat.st_mode, W_OK | X_OK)) {
        set_failure(error, replace_step::check_directory);
        return;
    }
    method_ = method::rename;
    if (target_exists_ && old_stat_.st_nlink > 1) {
        if (options.hard_links == hard_link_policy::refuse) {
            method_ = method::none;
            set_failure(EMLINK, replace_step::check_links);
            return;
        }
        method_ = method::copy_into;
    }

    hold_signals();
    remove_stale_temporaries(directory_);

    // A new file gets what an ofstream would give it: 0666 less the umask
    // (and the directory's default ACL), applied by the kernel.
    const mode_t mode = target_exists_ ? 0600 : 0666;
    if (int error = create_temporary(directory_, mode, temporary_, fd_)) {
        set_failure(error, replace_step::create_temporary);
        clean_up();
        return;
    }
    if (method_ == method::rename && target_exists_) {
        if (int error = copy_attributes(fd_, old_stat_)) {
            set_failure(error, replace_step::copy_attributes);
            clean_up();
            return;
        }
    }
    setp(buffer_.get(), buffer_.get() + kBufferSize);
}

void file_replacement::set_failure(int error, replace_step step)
{
    if (!failure_) {
        failure_.error = error;
        failure_.step = step;
    }
}

bool file_replacement::write_out()
{
    if (failure_ || fd_ < 0)
        return false;
    const std::size_t size = static_cast<std::size_t>(pptr() - pbase());
    if (int error = write_all(fd_, pbase(), size)) {
        set_failure(error, replace_step::write);
        // The new content is lost anyway: give its space back at once.
        clean_up();
        return false;
    }
    setp(buffer_.get(), buffer_.get() + kBufferSize);
    return true;
}

file_replacement::int_type file_replacement::overflow(int_type ch)
{
    if (!write_out())
        return traits_type::eof();
    if (!traits_type::eq_int_type(ch, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(ch);
        pbump(1);
    }
    return traits_type::not_eof(ch);
}

std::streamsize file_replacement::xsputn(const char* data, std::streamsize count)
{
    if (count < static_cast<std::streamsize>(kBufferSize))
        return std::streambuf::xsputn(data, count);
    // Large blocks go straight to the file, without a copy.
    if (!write_out())
        return 0;
    if (int error = write_all(fd_, data, static_cast<std::size_t>(count))) {
        set_failure(error, replace_step::write);
        clean_up();
        return 0;
    }
    return count;
}

replace_failure file_replacement::commit()
{
    if (method_ != method::none && write_out()) {
        switch (method_) {
        case method::in_place:
            if (int error = close_fd(fd_))
                set_failure(error, replace_step::sync);
            break;
        case method::rename: finish_rename(); break;
        case method::copy_into: finish_copy_into(); break;
        case method::none: break;
        }
    }
    clean_up();
    return failure_;
}

void file_replacement::finish_rename()
{
    if (::fsync(fd_) != 0) {
        set_failure(errno, replace_step::sync);
        return;
    }
    if (int error = close_fd(fd_)) {
        set_failure(error, replace_step::sync);
        return;
    }
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        set_failure(errno, replace_step::replace);
        return;
    }
    temporary_.clear();
    release_signals();
    if (int error = sync_directory(directory_))
        set_failure(error, replace_step::sync_directory);
}

// A file with several names keeps them all: its own content is rewritten
// from the new file, which is complete and on disk by then, so that a full
// disk or a size limit shows before the old content is touched; space for a
// longer content is reserved first where the file system can. What remains
// is a short window that is not atomic: should the copy itself fail (an I/O
// error, or a full disk where nothing could be reserved) or the process be
// killed during it, the file holds a mixture of old and new content.
void file_replacement::finish_copy_into()
{
    if (::fsync(fd_) != 0) {
        set_failure(errno, replace_step::sync);
        return;
    }
    struct stat new_stat {};
    if (::fstat(fd_, &new_stat) != 0) {
        set_failure(errno, replace_step::sync);
        return;
    }
    int out = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (out < 0) {
        set_failure(errno, replace_step::replace);
        return;
    }
    const off_t size = new_stat.st_size;
    int error = 0;
    if (size > old_stat_.st_size && ::fallocate(out, FALLOC_FL_KEEP_SIZE, 0, size) != 0 &&
        errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL) {
        error = errno;
    }
    for (off_t offset = 0; error == 0 && offset < size;) {
        const ssize_t got = ::pread(fd_, buffer_.get(), kBufferSize, offset);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            error = got < 0 ? errno : EIO;
            break;
        }
        std::size_t done = 0;
        while (done < static_cast<std::size_t>(got)) {
            const ssize_t put = ::pwrite(out, buffer_.get() + done, static_cast<std::size_t>(got) - done,
                                         offset + static_cast<off_t>(done));
            if (put < 0 && errno == EINTR)
                continue;
            if (put <= 0) {
                error = put < 0 ? errno : EIO;
                break;
            }
            done += static_cast<std::size_t>(put);
        }
        offset += static_cast<off_t>(done);
    }
    if (error == 0 && ::ftruncate(out, size) != 0)
        error = errno;
    if (error == 0 && ::fsync(out) != 0)
        error = errno;
    if (int close_error = close_fd(out); error == 0)
        error = close_error;
    if (error != 0)
        set_failure(error, replace_step::replace);
}

void file_replacement::abort() noexcept
{
    if (method_ != method::none)
        set_failure(ECANCELED, replace_step::write);
    clean_up();
}

void file_replacement::clean_up() noexcept
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
        temporary_.clear();
    }
    release_signals();
    method_ = method::none;
    setp(nullptr, nullptr);
}

void file_replacement::hold_signals() noexcept
{
    if (holding_signals_)
        return;
    holding_signals_ = true;
    if (tHolds++ > 0)
        return;
    sigset_t held;
    sigemptyset(&held);
    for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE})
        sigaddset(&held, sig);
    ::pthread_sigmask(SIG_BLOCK, &held, &tSavedMask);
}

void file_replacement::release_signals() noexcept
{
    if (!holding_signals_)
        return;
    holding_signals_ = false;
    // A signal that arrived meanwhile is delivered here, once the last
    // replacement of this thread is done with its temporary file.
    if (--tHolds == 0)
        ::pthread_sigmask(SIG_SETMASK, &tSavedMask, nullptr);
}

// ---- Whole contents -------------------------------------------------------------------

int write_all(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (written == 0)
            return EIO;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

replace_failure replace_file(const std::string& path, const std::string& content, const replace_options& options)
{
    file_replacement file(path, options);
    if (!file.failure())
        file.sputn(content.data(), static_cast<std::streamsize>(content.size()));
    return file.commit();
}

int replace_file_content(const std::string& path, const std::string& content)
{
    return replace_file(path, content).error;
}

} // namespace xmlutil_detail

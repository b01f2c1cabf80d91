#include "atomic_write.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace xmlutil_cli {

namespace {

// Holds back the usual termination signals while a temporary file exists, so
// that an interrupted save cannot leave one behind. A signal that arrives
// meanwhile is delivered when the save is over.
class signal_hold {
public:
    signal_hold()
    {
        sigset_t held;
        sigemptyset(&held);
        for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            sigaddset(&held, sig);
        }
        sigprocmask(SIG_BLOCK, &held, &previous_);
    }
    ~signal_hold() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
    signal_hold(const signal_hold&) = delete;
    signal_hold& operator=(const signal_hold&) = delete;

private:
    sigset_t previous_;
};

// Gives the new file the old one's owner and mode, then its content, on disk.
int fill(int fd, const std::string& content, const struct stat& old_stat)
{
    // Only a privileged user may give a file away; anyone else keeps the
    // file as their own, as any editor that saves by renaming does.
    if ((old_stat.st_uid != geteuid() || old_stat.st_gid != getegid()) &&
        fchown(fd, old_stat.st_uid, old_stat.st_gid) != 0 && errno != EPERM) {
        return errno;
    }
    // After fchown, which may clear the set-id bits.
    if (fchmod(fd, old_stat.st_mode & 07777) != 0) {
        return errno;
    }
    if (int error = write_all(fd, content.data(), content.size())) {
        return error;
    }
    if (fsync(fd) != 0) {
        return errno;
    }
    return 0;
}

// Makes the rename itself durable.
int sync_directory(const std::string& dir)
{
    int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    int error = 0;
    // Some file systems cannot sync a directory and say so with EINVAL;
    // there is nothing more to be done on them.
    if (fsync(fd) != 0 && errno != EINVAL) {
        error = errno;
    }
    close(fd);
    return error;
}

} // namespace

int write_all(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        ssize_t written = write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (written == 0) {
            return EIO;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

int replace_file_content(const std::string& path, const std::string& content)
{
    // The new file goes beside the link's target: a rename cannot cross file
    // systems, and renaming over the link would turn it into a plain file.
    char* resolved = realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        return errno;
    }
    const std::string target(resolved);
    std::free(resolved);

    struct stat old_stat {};
    if (stat(target.c_str(), &old_stat) != 0) {
        return errno;
    }
    const std::string::size_type slash = target.rfind('/'); // realpath's result is absolute
    const std::string dir = slash == 0 ? std::string("/") : target.substr(0, slash);
    const std::string pattern = target.substr(0, slash + 1) + "." + target.substr(slash + 1) + ".XXXXXX";
    std::vector<char> temp(pattern.begin(), pattern.end());
    temp.push_back('\0');

    signal_hold hold;
    int fd = mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    int error = fill(fd, content, old_stat);
    if (close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && rename(temp.data(), target.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(temp.data());
        return error;
    }
    return sync_directory(dir);
}

} // namespace xmlutil_cli

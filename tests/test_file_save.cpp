// SPDX-License-Identifier: Apache-2.0
// Saving to files: the old content stays whole until the new content is
// complete, and links, FIFOs, devices and modes are treated as a user expects.
#include "file_replace.h"
#include "test_util.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>

namespace {

const std::string kOld = "<?xml version='1.0' ?>\n<old>the content before the save</old>\n";

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

// Whether the file at `path` holds exactly `expected`; a mismatch tells
// sizes and where the two part, not megabytes of text.
::testing::AssertionResult has_content(const std::string& path, const std::string& expected)
{
    const std::string content = read_file(path);
    if (content == expected)
        return ::testing::AssertionSuccess();
    const auto parted = std::mismatch(content.begin(), content.end(), expected.begin(), expected.end());
    return ::testing::AssertionFailure() << path << ": " << content.size() << " bytes, expected "
                                         << expected.size() << ", different from byte "
                                         << (parted.first - content.begin());
}

// The names in `dir`, sorted.
std::set<std::string> names_in(const std::filesystem::path& dir)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        names.insert(entry.path().filename().string());
    return names;
}

struct stat lstat_of(const std::string& path)
{
    struct stat st {};
    EXPECT_EQ(0, ::lstat(path.c_str(), &st)) << path << ": " << std::strerror(errno);
    return st;
}

// A small document with text that the writer escapes.
cXML_Utility small_document()
{
    cXML_Utility xml(1);
    xml.CreateDocument("config");
    xml.CreateAndActivateNewElement("section");
    xml.SaveNodeAttribute("name", "a & b");
    xml.SaveNodeData("key", "  <value> \xE4  ");
    xml.DeactivateNode();
    xml.SaveNodeData("top", "1");
    return xml;
}

// A document of about `lines` lines of 60 bytes.
cXML_Utility large_document(int lines)
{
    cXML_Utility xml(1);
    xml.CreateDocument("catalog");
    for (int i = 0; i < lines; ++i)
        xml.SaveNodeData("entry", "value number " + std::to_string(i) + " of the catalog, padded out");
    return xml;
}

std::string saved(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    return out.str();
}

// What a child process reported through its pipe, and how it ended.
struct ChildResult {
    int status = 0;
    std::string report;
};

// Runs `body` in a child process; its result string comes back to the parent.
ChildResult run_in_child(const std::function<std::string()>& body)
{
    int fds[2];
    if (::pipe(fds) != 0)
        throw std::runtime_error("pipe failed");
    const pid_t pid = ::fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::close(fds[0]);
        std::string report;
        try {
            report = body();
        } catch (const std::exception& e) {
            report = std::string("exception: ") + e.what();
        }
        const char* data = report.data();
        std::size_t left = report.size();
        while (left > 0) {
            const ssize_t written = ::write(fds[1], data, left);
            if (written <= 0)
                break;
            data += written;
            left -= static_cast<std::size_t>(written);
        }
        ::_exit(0); // no atexit handlers or test teardown in the child
    }
    ::close(fds[1]);
    ChildResult result;
    char buffer[4096];
    ssize_t got;
    while ((got = ::read(fds[0], buffer, sizeof buffer)) != 0) {
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            break;
        result.report.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fds[0]);
    while (::waitpid(pid, &result.status, 0) < 0 && errno == EINTR) {
    }
    return result;
}

// Starts a child that saves `xml` to `path` over and over, then sends it
// `sig` while a save is under way: once a temporary file shows in `dir`, or
// the target holds neither the old nor the new content.
int interrupt_repeated_saves(cXML_Utility& xml, const TempDir& dir, const std::string& path,
                             const std::string& expected, int sig)
{
    const std::size_t old_size = read_file(path).size();
    const pid_t pid = ::fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        for (;;)
            xml.SaveToFile(path);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool under_way = false;
    while (!under_way && std::chrono::steady_clock::now() < deadline) {
        for (const std::string& name : names_in(dir.path())) {
            if (name.rfind(".xmlutil-", 0) == 0)
                under_way = true;
        }
        struct stat st {};
        if (::stat(path.c_str(), &st) == 0 && static_cast<std::size_t>(st.st_size) != old_size &&
            static_cast<std::size_t>(st.st_size) != expected.size())
            under_way = true;
        if (!under_way)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    ::kill(pid, sig);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    EXPECT_TRUE(under_way) << "no save seen under way";
    return status;
}

// Sets the process's umask for one scope.
class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : fSaved(::umask(mask)) {}
    ~UmaskScope() { ::umask(fSaved); }
    UmaskScope(const UmaskScope&) = delete;
    UmaskScope& operator=(const UmaskScope&) = delete;

private:
    mode_t fSaved;
};

} // namespace

TEST(file_save, success_writes_the_bytes_of_save_to_stream)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string expected = saved(xml);
    const std::string fresh = (dir / "fresh.xml").string();
    const std::string existing = dir.write("existing.xml", std::string(10000, 'x'));

    std::string reason = "not cleared";
    EXPECT_TRUE(xml.TrySaveToFile(fresh, reason));
    EXPECT_EQ("", reason);
    EXPECT_EQ(expected, read_file(fresh));
    EXPECT_TRUE(xml.TrySaveToFile(existing, reason)) << reason;
    EXPECT_EQ(expected, read_file(existing));
    xml.SaveToFile(existing);
    EXPECT_EQ(expected, read_file(existing));
    EXPECT_EQ((std::set<std::string>{"existing.xml", "fresh.xml"}), names_in(dir.path()));
}

TEST(file_save, new_file_gets_the_mode_that_the_umask_allows)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const UmaskScope mask(027);
    const std::string path = (dir / "new.xml").string();
    xml.SaveToFile(path);
    EXPECT_EQ(0640u, lstat_of(path).st_mode & 07777);
}

// A full disk, simulated by a file size limit: the write fails part way.
TEST(file_save, failed_write_leaves_the_original_whole_and_no_temporary)
{
    TempDir dir;
    cXML_Utility xml = large_document(20000);
    const std::string path = dir.write("config.xml", kOld);
    const ChildResult child = run_in_child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::string reason;
        const bool saved_ok = xml.TrySaveToFile(path, reason);
        xml.SaveToFile(path);
        return saved_ok ? std::string("saved") : reason;
    });
    ASSERT_TRUE(WIFEXITED(child.status)) << child.status;
    EXPECT_EQ("file too large", child.report);
    EXPECT_TRUE(has_content(path, kOld));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

// The new content is complete aside before a hard-linked file is touched.
TEST(file_save, failed_write_to_a_hard_linked_file_leaves_both_names_whole)
{
    TempDir dir;
    cXML_Utility xml = large_document(20000);
    const std::string path = dir.write("config.xml", kOld);
    const std::string other = (dir / "other.xml").string();
    ASSERT_EQ(0, ::link(path.c_str(), other.c_str()));
    const ChildResult child = run_in_child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::string reason;
        const bool saved_ok = xml.TrySaveToFile(path, reason);
        return saved_ok ? std::string("saved") : reason;
    });
    ASSERT_TRUE(WIFEXITED(child.status)) << child.status;
    EXPECT_EQ("file too large", child.report);
    EXPECT_TRUE(has_content(path, kOld));
    EXPECT_TRUE(has_content(other, kOld));
    EXPECT_EQ(2u, lstat_of(path).st_nlink);
    EXPECT_EQ((std::set<std::string>{"config.xml", "other.xml"}), names_in(dir.path()));
}

// SIGKILL cannot be held back: a temporary may stay, recognisable by its
// name, but the file itself is never partly written.
TEST(file_save, killed_save_leaves_the_old_or_the_new_content)
{
    TempDir dir;
    cXML_Utility xml = large_document(100000);
    const std::string expected = saved(xml);
    const std::string path = dir.write("config.xml", kOld);
    const int status = interrupt_repeated_saves(xml, dir, path, expected, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    const std::string content = read_file(path);
    EXPECT_TRUE(content == kOld || content == expected) << content.size() << " bytes, partly written";
    for (const std::string& name : names_in(dir.path())) {
        if (name != "config.xml") {
            EXPECT_EQ(0u, name.rfind(".xmlutil-", 0)) << name;
            EXPECT_EQ(15u, name.size()) << name;
        }
    }
    // The next save in that folder removes what the killed one left.
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << reason;
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

// A temporary that a running save holds is not taken for a leftover.
TEST(file_save, temporary_of_a_running_save_is_left_alone)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    const std::string leftover = dir.write(".xmlutil-AbCdEf", "from a killed save");
    const std::string held = dir.write(".xmlutil-GhIjKl", "being written");
    const std::string other = dir.write(".xmlutil-notours", "not one of ours");
    const int fd = ::open(held.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(0, ::flock(fd, LOCK_EX));
    std::string reason;
    cXML_Utility xml = small_document();
    EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << reason;
    ::close(fd);
    EXPECT_EQ((std::set<std::string>{".xmlutil-GhIjKl", ".xmlutil-notours", "config.xml"}), names_in(dir.path()));
    (void)leftover;
    (void)other;
}

// A termination signal waits until the save in progress is complete.
TEST(file_save, termination_signal_waits_until_the_save_is_complete)
{
    TempDir dir;
    cXML_Utility xml = large_document(100000);
    const std::string expected = saved(xml);
    const std::string path = dir.write("config.xml", kOld);
    const int status = interrupt_repeated_saves(xml, dir, path, expected, SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    const std::string content = read_file(path);
    EXPECT_TRUE(content == expected) << content.size() << " bytes, expected " << expected.size();
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

TEST(file_save, existing_file_keeps_its_mode)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string path = dir.write("config.xml", kOld);
    for (const mode_t mode : {0640u, 0604u, 0600u, 02664u}) {
        ASSERT_EQ(0, ::chmod(path.c_str(), mode));
        std::string reason;
        EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << reason;
        EXPECT_EQ(mode, lstat_of(path).st_mode & 07777) << std::oct << mode;
        EXPECT_EQ(saved(xml), read_file(path));
    }
}

TEST(file_save, existing_file_keeps_its_owner_and_group)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another owner";
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string path = dir.write("config.xml", kOld);
    ASSERT_EQ(0, ::chown(path.c_str(), 4321, 4322));
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << reason;
    const struct stat st = lstat_of(path);
    EXPECT_EQ(4321u, st.st_uid);
    EXPECT_EQ(4322u, st.st_gid);
    EXPECT_EQ(saved(xml), read_file(path));
}

TEST(file_save, symbolic_link_stays_a_link_and_its_target_gets_the_content)
{
    TempDir dir;
    std::filesystem::create_directory(dir / "real");
    std::filesystem::create_directory(dir / "links");
    cXML_Utility xml = small_document();
    const std::string target = dir.write("real/config.xml", kOld);
    const std::string link = (dir / "links/config.xml").string();
    ASSERT_EQ(0, ::symlink("../real/config.xml", link.c_str()));
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile(link, reason)) << reason;
    EXPECT_TRUE(S_ISLNK(lstat_of(link).st_mode));
    EXPECT_EQ(saved(xml), read_file(target));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir / "links"));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir / "real"));
}

TEST(file_save, dangling_symbolic_link_gets_its_target_created)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string link = (dir / "link.xml").string();
    ASSERT_EQ(0, ::symlink("target.xml", link.c_str()));
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile(link, reason)) << reason;
    EXPECT_TRUE(S_ISLNK(lstat_of(link).st_mode));
    EXPECT_EQ(saved(xml), read_file((dir / "target.xml").string()));
    EXPECT_EQ((std::set<std::string>{"link.xml", "target.xml"}), names_in(dir.path()));
}

TEST(file_save, fifo_is_written_in_place)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string fifo = (dir / "pipe").string();
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    std::string received;
    bool opened = false;
    std::thread reader([&] {
        const int fd = ::open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        opened = true;
        char buffer[4096];
        ssize_t got;
        while ((got = ::read(fd, buffer, sizeof buffer)) > 0)
            received.append(buffer, static_cast<std::size_t>(got));
        ::close(fd);
    });
    std::string reason;
    const bool saved_ok = xml.TrySaveToFile(fifo, reason);
    // Had the save never opened the FIFO, the reader would still wait for a writer.
    const int unblock = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (unblock >= 0)
        ::close(unblock);
    reader.join();
    EXPECT_TRUE(saved_ok) << reason;
    EXPECT_TRUE(opened);
    EXPECT_EQ(saved(xml), received);
    EXPECT_TRUE(S_ISFIFO(lstat_of(fifo).st_mode));
    EXPECT_EQ(std::set<std::string>{"pipe"}, names_in(dir.path()));
}

TEST(file_save, dev_null_accepts_a_save)
{
    cXML_Utility xml = small_document();
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile("/dev/null", reason)) << reason;
    xml.SaveToFile("/dev/null");
    EXPECT_TRUE(S_ISCHR(lstat_of("/dev/null").st_mode));
}

TEST(file_save, hard_linked_file_keeps_all_its_names)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string path = dir.write("config.xml", kOld);
    const std::string other = (dir / "other.xml").string();
    ASSERT_EQ(0, ::link(path.c_str(), other.c_str()));
    const ino_t inode = lstat_of(path).st_ino;
    std::string reason;
    EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << reason;
    EXPECT_EQ(saved(xml), read_file(path));
    EXPECT_EQ(saved(xml), read_file(other));
    EXPECT_EQ(inode, lstat_of(path).st_ino);
    EXPECT_EQ(2u, lstat_of(other).st_nlink);
    EXPECT_EQ((std::set<std::string>{"config.xml", "other.xml"}), names_in(dir.path()));
}

// The temporary must not be named after the file: that name would be too long.
TEST(file_save, file_names_of_248_to_255_bytes_work)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string expected = saved(xml);
    for (std::size_t length = 248; length <= 255; ++length) {
        const std::string name = std::string(length - 4, 'n') + ".xml";
        const std::string path = (dir / name).string();
        std::string reason;
        EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << length << ": " << reason;
        EXPECT_EQ(expected, read_file(path)) << length;
        dir.write(name, kOld);
        EXPECT_TRUE(xml.TrySaveToFile(path, reason)) << length << ": " << reason;
        EXPECT_EQ(expected, read_file(path)) << length;
    }
    EXPECT_EQ(8u, names_in(dir.path()).size());
}

// Renaming over a file needs only the directory's permission; a read-only
// file is refused all the same, by its mode, so that root is refused too.
TEST(file_save, read_only_file_is_refused_and_kept)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string path = dir.write("config.xml", kOld);
    ASSERT_EQ(0, ::chmod(path.c_str(), 0444));
    std::string reason;
    EXPECT_FALSE(xml.TrySaveToFile(path, reason));
    EXPECT_EQ("file is read-only", reason);
    xml.SaveToFile(path);
    EXPECT_EQ(kOld, read_file(path));
    EXPECT_EQ(0444u, lstat_of(path).st_mode & 07777);
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

// Here too the mode decides, so that root gets the same answer.
TEST(file_save, read_only_directory_is_named_as_the_cause)
{
    TempDir dir;
    std::filesystem::create_directory(dir / "locked");
    cXML_Utility xml = small_document();
    const std::string path = dir.write("locked/config.xml", kOld);
    const std::string locked = (dir / "locked").string();
    ASSERT_EQ(0, ::chmod(locked.c_str(), 0555));
    std::string reason;
    EXPECT_FALSE(xml.TrySaveToFile(path, reason));
    EXPECT_EQ("directory not writable", reason);
    EXPECT_FALSE(xml.TrySaveToFile((dir / "locked/new.xml").string(), reason));
    EXPECT_EQ("directory not writable", reason);
    xml.SaveToFile(path);
    EXPECT_EQ(kOld, read_file(path));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir / "locked"));
    ::chmod(locked.c_str(), 0755);
}

TEST(file_save, missing_directory_is_reported_only_by_try_save)
{
    TempDir dir;
    cXML_Utility xml = small_document();
    const std::string path = (dir / "missing/config.xml").string();
    EXPECT_NO_THROW(xml.SaveToFile(path));
    std::string reason;
    EXPECT_FALSE(xml.TrySaveToFile(path, reason));
    EXPECT_EQ("directory does not exist", reason);
    EXPECT_TRUE(names_in(dir.path()).empty());
}

TEST(file_save, try_save_without_document_throws_and_keeps_the_file)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    std::string reason;
    cXML_Utility empty;
    EXPECT_THROW_MSG(empty.TrySaveToFile(path, reason), cTextException,
                     "cXML_Utility::TrySaveToFile(): cannot save an empty class!");
    cXML_Utility unloaded(1);
    EXPECT_THROW_MSG(unloaded.TrySaveToFile(path, reason), cTextException,
                     "cXML_Utility::TrySaveToFile(): cannot save a class without document!");
    EXPECT_EQ(kOld, read_file(path));
}

// ---- The file replacement itself, as the tool uses it -------------------------------------

using xmlutil_detail::file_replacement;
using xmlutil_detail::hard_link_policy;
using xmlutil_detail::replace_failure;
using xmlutil_detail::replace_failure_message;
using xmlutil_detail::replace_file;
using xmlutil_detail::replace_file_content;
using xmlutil_detail::replace_options;
using xmlutil_detail::replace_step;

namespace {

bool signal_blocked(int sig)
{
    sigset_t current;
    sigemptyset(&current);
    pthread_sigmask(SIG_BLOCK, nullptr, &current);
    return sigismember(&current, sig) == 1;
}

} // namespace

TEST(file_replace, new_content_is_invisible_until_commit_and_signals_wait_meanwhile)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    const std::string name(255, 'n');
    const std::string long_path = dir.write(name, kOld);
    {
        file_replacement file(path);
        file_replacement other(long_path);
        ASSERT_FALSE(file.failure());
        ASSERT_FALSE(other.failure());
        for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE})
            EXPECT_TRUE(signal_blocked(sig)) << sig;
        std::ostream out(&file);
        out << "new content" << std::endl;
        EXPECT_EQ(kOld, read_file(path));
        // Two temporaries, each of a short name that says where it comes from.
        const std::set<std::string> names = names_in(dir.path());
        EXPECT_EQ(4u, names.size());
        for (const std::string& entry : names) {
            if (entry != "config.xml" && entry != name) {
                EXPECT_EQ(0u, entry.rfind(xmlutil_detail::kTemporaryPrefix, 0)) << entry;
                EXPECT_EQ(15u, entry.size()) << entry;
            }
        }
        // Finished in the order begun: the signals wait for the last one.
        EXPECT_FALSE(file.commit());
        EXPECT_EQ("new content\n", read_file(path));
        EXPECT_TRUE(signal_blocked(SIGTERM));
        other.sputn("long", 4);
        EXPECT_FALSE(other.commit());
    }
    EXPECT_FALSE(signal_blocked(SIGTERM));
    EXPECT_EQ("long", read_file(long_path));
    EXPECT_EQ((std::set<std::string>{"config.xml", name}), names_in(dir.path()));
}

TEST(file_replace, dropped_replacement_leaves_the_file_and_no_temporary)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    {
        file_replacement file(path);
        std::ostream out(&file);
        out << std::string(3 << 20, 'x');
    }
    EXPECT_EQ(kOld, read_file(path));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
    EXPECT_FALSE(signal_blocked(SIGTERM));

    file_replacement file(path);
    file.sputn("abc", 3);
    file.abort();
    const replace_failure failure = file.commit();
    EXPECT_EQ(ECANCELED, failure.error);
    EXPECT_EQ(kOld, read_file(path));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

TEST(file_replace, hard_links_can_be_refused_instead)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    const std::string other = (dir / "other.xml").string();
    ASSERT_EQ(0, ::link(path.c_str(), other.c_str()));
    replace_options options;
    options.hard_links = hard_link_policy::refuse;
    const replace_failure failure = replace_file(path, "new", options);
    EXPECT_EQ(EMLINK, failure.error);
    EXPECT_EQ(replace_step::check_links, failure.step);
    EXPECT_EQ("file has other hard links, which a replacement would leave with the old content",
              replace_failure_message(failure));
    EXPECT_EQ(kOld, read_file(path));
    EXPECT_EQ((std::set<std::string>{"config.xml", "other.xml"}), names_in(dir.path()));
    EXPECT_FALSE(replace_file(path, "new"));
    EXPECT_EQ("new", read_file(other));
}

TEST(file_replace, replace_file_content_answers_with_an_errno_value)
{
    TempDir dir;
    const std::string path = dir.write("config.xml", kOld);
    EXPECT_EQ(0, replace_file_content(path, "new"));
    EXPECT_EQ("new", read_file(path));
    ASSERT_EQ(0, ::chmod(path.c_str(), 0444));
    EXPECT_EQ(EACCES, replace_file_content(path, "newer"));
    EXPECT_EQ("new", read_file(path));
    EXPECT_EQ(EISDIR, replace_file_content(dir.path().string(), "x"));
    EXPECT_EQ(ENOENT, replace_file_content((dir / "missing/x.xml").string(), "x"));
    EXPECT_EQ(std::set<std::string>{"config.xml"}, names_in(dir.path()));
}

TEST(file_replace, messages_name_the_cause_in_one_line)
{
    const struct {
        int error;
        replace_step step;
        const char* message;
    } rows[] = {
        {0, replace_step::none, ""},
        {EACCES, replace_step::check_file, "file is read-only"},
        {EACCES, replace_step::check_directory, "directory not writable"},
        {EACCES, replace_step::create_temporary, "directory not writable"},
        {ENOENT, replace_step::check_directory, "directory does not exist"},
        {ENOSPC, replace_step::write, "no space left on device"},
        {ENOSPC, replace_step::replace, "no space left on device"},
        {EDQUOT, replace_step::write, "disk quota exceeded"},
        {EFBIG, replace_step::write, "file too large"},
        {EIO, replace_step::sync, "input/output error"},
        {EROFS, replace_step::check_file, "read-only file system"},
        {EISDIR, replace_step::find_file, "is a directory"},
        {ELOOP, replace_step::find_file, "too many levels of symbolic links"},
        {EXDEV, replace_step::replace, "cannot put the new content in place: invalid cross-device link"},
        {EBADF, replace_step::sync_directory,
         "new content in place, but its directory could not be flushed to disk: bad file descriptor"},
    };
    for (const auto& row : rows) {
        replace_failure failure;
        failure.error = row.error;
        failure.step = row.step;
        EXPECT_EQ(row.message, replace_failure_message(failure)) << row.error;
    }
}

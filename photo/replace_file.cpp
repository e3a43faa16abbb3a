#include "photo/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "photo/descriptor.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw Error(Error::Kind::file, path + ": " + reason);
}

[[noreturn]] void refuseExisting(const std::string& path) {
    throw Error(Error::Kind::input, path + ": is there already");
}

[[noreturn]] void refuseByErrno(const std::string& path) {
    const int reason = errno;
    refuse(path, reason == ENOSPC ? "the disk is full" : std::strerror(reason));
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A file that becomes the target's. Where the file system can, it has no name until it is whole, so that even a process
// that is killed leaves nothing; elsewhere its name is removed unless the file was kept.
class NewFile {
public:
    NewFile(int folder, mode_t mode) : m_folder(folder) {
        // Without /proc, as in a bare root, it could not be named afterwards.
        if (::access("/proc/self/fd", X_OK) == 0)
            m_file = ::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
        if (m_file < 0) createNamed(mode);
    }
    ~NewFile() {
        const int reason = errno;
        if (!m_name.empty()) ::unlinkat(m_folder, m_name.c_str(), 0);
        if (m_file >= 0) ::close(m_file);
        errno = reason;
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    int get() const { return m_file; }

    /// Puts the file in place of `name`; false, with errno, if that fails: EEXIST for what is there and is refused.
    bool keepAs(const std::string& name, Existing existing) {
        if (m_name.empty()) {
            // A free name is taken at once; one in use can only be replaced by a file that has a name itself.
            if (linkTo(name)) return true;
            if (errno != EEXIST || existing == Existing::refused || !linkToUniqueName()) return false;
        }
        if (existing == Existing::refused) return renameToFree(name);
        if (::renameat(m_folder, m_name.c_str(), m_folder, name.c_str()) != 0) return false;
        m_name.clear();
        return true;
    }

private:
    static std::string uniqueName() {
        static std::atomic<unsigned> count{0};
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        return ".kestrova-" + std::to_string(::getpid()) + '-' + std::to_string(now.tv_sec) +
               std::to_string(now.tv_nsec) + '-' + std::to_string(count++) + ".tmp";
    }

    bool linkTo(const std::string& name) const {
        const std::string source = "/proc/self/fd/" + std::to_string(m_file);
        return ::linkat(AT_FDCWD, source.c_str(), m_folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }

    bool renameToFree(const std::string& name) {
        if (::renameat2(m_folder, m_name.c_str(), m_folder, name.c_str(), RENAME_NOREPLACE) == 0) {
            m_name.clear();
            return true;
        }
        // Where the file system does not know that, as NFS: a second name, of which the first is removed afterwards.
        if (errno != EINVAL && errno != ENOSYS) return false;
        if (::linkat(m_folder, m_name.c_str(), m_folder, name.c_str(), 0) == 0) return true;
        return errno != EEXIST && claim(name);
    }

    // Where files have one name only, as on FAT: an empty file takes the name, and is replaced.
    bool claim(const std::string& name) {
        const int empty = ::openat(m_folder, name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
        if (empty < 0) return false;
        ::close(empty);
        if (::renameat(m_folder, m_name.c_str(), m_folder, name.c_str()) == 0) {
            m_name.clear();
            return true;
        }
        const int error = errno;
        ::unlinkat(m_folder, name.c_str(), 0);
        errno = error;
        return false;
    }

    bool linkToUniqueName() {
        std::string name = uniqueName();
        if (!linkTo(name)) return false;
        m_name = std::move(name);
        return true;
    }

    void createNamed(mode_t mode) {
        std::string name = uniqueName();
        m_file = ::openat(m_folder, name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, mode);
        if (m_file >= 0) m_name = std::move(name);
    }

    int m_folder;
    int m_file = -1;
    std::string m_name;  // of a file that is to be removed
};

void writeAll(int file, const std::vector<unsigned char>& bytes, const std::string& path,
              const std::atomic<bool>* cancel) {
    constexpr std::size_t kPiece = 1 << 20;
    for (std::size_t done = 0; done < bytes.size();) {
        if (cancel && *cancel) throw Error(Error::Kind::cancelled, "cancelled");
        const ssize_t written = ::write(file, bytes.data() + done, std::min(kPiece, bytes.size() - done));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) refuseByErrno(path);
        done += static_cast<std::size_t>(written);
    }
}

// What people and their programs have noted beside the content, as tags and stars, and the list of who may read.
void copyAttributes(const std::string& from, int file, const std::string& path) {
    std::vector<char> names(1 << 16), value(1 << 16);  // the most that there can be
    const ssize_t size = ::listxattr(from.c_str(), names.data(), names.size());
    for (ssize_t at = 0; at < size;) {
        const std::string name = names.data() + at;
        at += static_cast<ssize_t>(name.size()) + 1;
        if (name.rfind("user.", 0) != 0 && name != "system.posix_acl_access") continue;
        const ssize_t length = ::getxattr(from.c_str(), name.c_str(), value.data(), value.size());
        if (length < 0 || ::fsetxattr(file, name.c_str(), value.data(), static_cast<std::size_t>(length), 0) != 0)
            refuseByErrno(path);
    }
}

}  // namespace

std::string checkTarget(const std::string& path) {
    if (path.empty() || nameOf(path).empty()) refuse(path, "is not the name of a file");
    std::string target = path;
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), std::free);
        if (!real) refuse(path, "is a link that leads nowhere");
        target = real.get();
    }
    if (::stat(target.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) refuse(path, "is a folder");
        if (!S_ISREG(status.st_mode)) refuse(path, "is a device, pipe or socket");
        if (::access(target.c_str(), W_OK) != 0) refuseByErrno(path);
    } else if (errno != ENOENT) {
        refuseByErrno(path);
    }
    const std::string folder = folderOf(target);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) refuse(path, "folder " + folder + ": " + std::strerror(errno));
    return target;
}

void replaceFile(const std::string& path, const std::vector<unsigned char>& bytes, const std::atomic<bool>* cancel,
                 Existing existing) {
    const std::string target = checkTarget(path);
    const Descriptor folder(::open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) refuseByErrno(path);
    struct stat old {};
    const bool replaces = ::stat(target.c_str(), &old) == 0;
    if (replaces && existing == Existing::refused) refuseExisting(path);

    NewFile file(folder.get(), replaces ? 0600 : 0666);
    if (file.get() < 0) refuseByErrno(path);
    writeAll(file.get(), bytes, path, cancel);
    if (replaces) {
        // A change of owner clears some bits of the mode, so it comes first; it is for root alone.
        if (::fchown(file.get(), old.st_uid, old.st_gid) != 0) errno = 0;
        if (::fchmod(file.get(), old.st_mode & 07777) != 0) refuseByErrno(path);
        copyAttributes(target, file.get(), path);
    }
    if (::fsync(file.get()) != 0) refuseByErrno(path);
    if (!file.keepAs(nameOf(target), existing)) {
        if (errno == EEXIST) refuseExisting(path);
        refuseByErrno(path);
    }
    ::fsync(folder.get());  // some file systems cannot; the file is in place all the same
}

}  // namespace kestrova::photo

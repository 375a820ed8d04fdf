// The copy that a package is written to, and the locks; see the header.
#include "common/package_target.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "common/hash.h"
#include "common/osdep.h"

constexpr std::int64_t LOCK_WAIT_MS = 10000;
constexpr useconds_t LOCK_RETRY_US = 10000;
constexpr std::size_t COPY_CHUNK = 64u << 20;

static std::int64_t now_ms() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

static bool may_create(const char* path) {
  if (*osdep_baseName(path) == 0) return false;
  return access(osdep_pathBeside(path, "."), W_OK | X_OK) == 0;
}

// True if the system refused to write because it is not allowed, and not because something went wrong.
static bool is_forbidden(int error) { return error == EACCES || error == EPERM || error == EROFS; }

// ---- locks ----

// False at the deadline. Where the file system knows no locks there is nothing to wait for.
static bool wait_forLock(int file, std::int64_t deadline) {
  while (flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return true;
    if (now_ms() >= deadline) return false;
    usleep(LOCK_RETRY_US);
  }
  return true;
}

static bool has_name(int file, const char* path) {
  struct stat mine;
  struct stat named;
  return fstat(file, &mine) == 0 && lstat(path, &named) == 0 && mine.st_dev == named.st_dev &&
         mine.st_ino == named.st_ino;
}

// Opens and locks `path`. The run that had the lock may have removed or replaced the file meanwhile; the lock of the
// old one holds nobody off, so the new one's is needed. -1 if it can't be opened, or locked in time: EWOULDBLOCK.
static int open_locked(const char* path, int flags, std::int64_t deadline) {
  for (;;) {
    const int file = open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666);
    if (file < 0) return -1;
    const bool locked = wait_forLock(file, deadline);
    if (locked && has_name(file, path)) return file;
    close(file);
    if (!locked) {
      errno = EWOULDBLOCK;
      return -1;
    }
  }
}

// The lock of our own. Its name has a fixed length, so that the archive's may be as long as names can be.
static bool lock_name(package_target* target, std::int64_t deadline) {
  char name[32];
  std::snprintf(name, sizeof name, ".qv4_%08x.lock", hash_string(to_word(osdep_baseName(target->archive))));
  target->lock_path = osdep_pathBeside(target->archive, name);
  target->lock_file = open_locked(target->lock_path, O_RDWR | O_CREAT, deadline);
  if (target->lock_file < 0 && errno == EACCES) {  // left behind by another user's run
    target->lock_file = open_locked(target->lock_path, O_RDONLY, deadline);
  }
  return target->lock_file >= 0;
}

// The lock of the archive, which is there. One that may not be written, or can't be an archive, needs none.
static bool lock_archive(package_target* target, bool is_regular, std::int64_t deadline) {
  if (is_regular) target->archive_file = open_locked(target->archive, O_RDWR, deadline);
  if (target->archive_file >= 0) return true;
  target->in_place = true;
  return !is_regular || is_forbidden(errno);
}

bool package_lock(package_target* target, const char* path) {
  *target = {};
  target->lock_file = target->archive_file = target->copy_file = -1;
  target->archive = osdep_followLinks(path);
  target->in_place = !may_create(target->archive);
  const std::int64_t deadline = now_ms() + LOCK_WAIT_MS;
  if (!target->in_place && !lock_name(target, deadline)) return false;
  struct stat status;
  target->exists = lstat(target->archive, &status) == 0;
  if (!target->exists) return errno == ENOENT || target->in_place;
  return lock_archive(target, S_ISREG(status.st_mode), deadline);
}

// ---- the copy ----

static bool copy_bytes(int from, int to) {
  for (;;) {
    const ssize_t done = sendfile(to, from, nullptr, COPY_CHUNK);
    if (done <= 0) return done == 0;
  }
}

// Gives the copy the rights of the archive, those of any new file if there is none. Where the file system keeps none
// it doesn't have to.
static bool take_rights(const package_target* target) {
  struct stat old;
  if (target->archive_file < 0) {
    const mode_t mask = umask(0);
    umask(mask);
    old.st_mode = 0666 & ~mask;
  } else {
    if (fstat(target->archive_file, &old) != 0) return false;
    // Only the system's administrator can give files to others; then the group is tried alone.
    const bool kept =
        fchown(target->copy_file, old.st_uid, old.st_gid) == 0 || fchown(target->copy_file, UINT_MAX, old.st_gid) == 0;
    static_cast<void>(kept);
  }
  return fchmod(target->copy_file, old.st_mode & 07777) == 0 || errno == EPERM;
}

bool package_begin(package_target* target) {
  target->path = target->archive;
  if (target->in_place) return true;
  const char* pattern = osdep_pathBeside(target->archive, ".qv4_XXXXXX");
  char* copy = mem_dupText(pattern, std::strlen(pattern));
  target->copy_file = mkostemp(copy, O_CLOEXEC);
  if (target->copy_file < 0) {
    std::free(copy);
    return false;
  }
  target->path = target->copy = copy;
  return target->archive_file < 0 || copy_bytes(target->archive_file, target->copy_file);
}

bool package_commit(package_target* target) {
  if (target->copy == nullptr) return true;
  if (!take_rights(target) || fsync(target->copy_file) != 0) return false;
  if (rename(target->copy, target->archive) != 0) return false;
  std::free(target->copy);
  target->copy = nullptr;
  return true;
}

void package_release(package_target* target) {
  if (target->copy != nullptr) unlink(target->copy);
  std::free(target->copy);
  if (target->copy_file >= 0) close(target->copy_file);
  if (target->archive_file >= 0) close(target->archive_file);
  if (target->lock_file < 0) return;
  unlink(target->lock_path);  // while it is locked: nobody has taken it over
  close(target->lock_file);
}

// A disk that remembers what was written to it and when it was told to flush, and what a power cut would leave of it.
//
//   nerio_recorded_disk serve FOLDER BASE LOG     shows FOLDER/disk, a file with BASE's content, until FOLDER is unmounted;
//                                                 BASE stays as it is, each write and flush is added to LOG
//   nerio_recorded_disk cut BASE LOG POSITION SEED IMAGE
//                                                 makes IMAGE what the disk may hold after a cut, when LOG was POSITION bytes
//                                                 long: all that was written before the last flush, and of the rest any
//                                                 sectors, as SEED says (0: none)
//
// It speaks the kernel's FUSE protocol itself, so it needs no library that a machine may not have. One thread serves all: a
// write that was answered before a flush was asked for is in the log before it, and what a process has been told is no
// further than the log.

#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

constexpr std::uint64_t kRootNode = FUSE_ROOT_ID;
constexpr std::uint64_t kDiskNode = 2;
constexpr std::uint64_t kForEver = 1'000'000;
constexpr std::uint32_t kMaxWrite = 1U << 17;
constexpr std::size_t kSector = 512;

struct Entry {
  std::uint64_t offset;
  std::uint32_t length;  ///< bytes that follow
  std::uint32_t isFlush;
};

[[noreturn]] void RaiseErrno(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

int Open(const std::string& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
  if (file < 0) RaiseErrno(path);
  return file;
}

// A file's bytes. Those of a private mapping can be changed, and the file stays as it is.
class Mapped {
 public:
  Mapped(const std::string& path, bool isShared) {
    const int file = Open(path, isShared ? O_RDWR : O_RDONLY);
    struct stat entry {};
    if (::fstat(file, &entry) != 0) RaiseErrno(path);
    size_ = static_cast<std::size_t>(entry.st_size);
    void* const place =
        ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, isShared ? MAP_SHARED : MAP_PRIVATE | MAP_NORESERVE, file, 0);
    if (place == MAP_FAILED) RaiseErrno(path);
    ::close(file);
    bytes_ = static_cast<char*>(place);
  }
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;
  ~Mapped() { ::munmap(bytes_, size_); }

  char* bytes() const { return bytes_; }
  std::size_t size() const { return size_; }

 private:
  char* bytes_ = nullptr;
  std::size_t size_ = 0;
};

class Server {
 public:
  Server(const std::string& folder, const std::string& base, const std::string& log)
      : disk_(base, false), log_(Open(log, O_WRONLY | O_CREAT | O_TRUNC)), kernel_(Open("/dev/fuse", O_RDWR)) {
    const std::string options = "fd=" + std::to_string(kernel_) + ",rootmode=40000,user_id=0,group_id=0";
    if (::mount("nerio_recorded_disk", folder.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
      RaiseErrno("mount " + folder);
    }
  }

  void Serve() {
    std::vector<char> request(kMaxWrite + 4096);
    for (;;) {
      const ssize_t got = ::read(kernel_, request.data(), request.size());
      if (got < 0 && (errno == EINTR || errno == ENOENT || errno == EAGAIN)) continue;
      if (got < 0 && errno == ENODEV) return;  // unmounted
      if (got < static_cast<ssize_t>(sizeof(fuse_in_header))) RaiseErrno("/dev/fuse");
      fuse_in_header header{};
      std::memcpy(&header, request.data(), sizeof header);
      Answer(header, request.data() + sizeof header);
    }
  }

 private:
  void Reply(int error, const void* body = nullptr, std::size_t size = 0) const {
    fuse_out_header header{};
    header.len = static_cast<std::uint32_t>(sizeof header + size);
    header.error = -error;
    header.unique = asked_;
    const iovec parts[] = {{&header, sizeof header}, {const_cast<void*>(body), size}};
    // The request may have been interrupted meanwhile.
    if (::writev(kernel_, parts, 2) < 0 && errno != ENOENT) RaiseErrno("/dev/fuse");
  }

  template <typename Body>
  void Reply(const Body& body) const {
    Reply(0, &body, sizeof body);
  }

  fuse_attr Attributes(std::uint64_t node) const {
    fuse_attr attributes{};
    attributes.ino = node;
    attributes.mode = node == kRootNode ? S_IFDIR | 0700 : S_IFREG | 0600;
    attributes.nlink = 1;
    attributes.blksize = 4096;
    attributes.size = node == kRootNode ? 0 : disk_.size();
    attributes.blocks = attributes.size / kSector;
    return attributes;
  }

  void Log(const Entry& entry, const char* bytes) const {
    const iovec parts[] = {{const_cast<Entry*>(&entry), sizeof entry}, {const_cast<char*>(bytes), entry.length}};
    if (::writev(log_, parts, 2) != static_cast<ssize_t>(sizeof entry + entry.length)) RaiseErrno("the log");
  }

  template <typename Body>
  static Body BodyOf(const char* request) {
    Body body{};
    std::memcpy(&body, request, sizeof body);
    return body;
  }

  void Write(const char* request) {
    const auto write = BodyOf<fuse_write_in>(request);
    if (write.offset + write.size > disk_.size()) return Reply(EFBIG);
    const char* const bytes = request + sizeof write;
    std::memcpy(disk_.bytes() + write.offset, bytes, write.size);
    Log({write.offset, write.size, 0}, bytes);
    fuse_write_out done{};
    done.size = write.size;
    Reply(done);
  }

  void Read(const char* request) {
    const auto read = BodyOf<fuse_read_in>(request);
    const std::uint64_t begin = std::min<std::uint64_t>(read.offset, disk_.size());
    Reply(0, disk_.bytes() + begin, std::min<std::uint64_t>(read.size, disk_.size() - begin));
  }

  void Answer(const fuse_in_header& header, const char* request) {
    asked_ = header.unique;
    switch (header.opcode) {
      case FUSE_INIT: {
        fuse_init_out init{};
        init.major = FUSE_KERNEL_VERSION;
        init.minor = FUSE_KERNEL_MINOR_VERSION;
        init.max_readahead = kMaxWrite;
        init.flags = FUSE_BIG_WRITES | FUSE_MAX_PAGES;
        init.max_pages = kMaxWrite / 4096;
        init.max_write = kMaxWrite;
        init.time_gran = 1;
        return Reply(init);
      }
      case FUSE_LOOKUP: {
        if (std::string_view(request) != "disk") return Reply(ENOENT);
        fuse_entry_out entry{};
        entry.nodeid = kDiskNode;
        entry.entry_valid = entry.attr_valid = kForEver;
        entry.attr = Attributes(kDiskNode);
        return Reply(entry);
      }
      case FUSE_GETATTR:
      case FUSE_SETATTR: {
        fuse_attr_out out{};
        out.attr_valid = kForEver;
        out.attr = Attributes(header.nodeid);
        return Reply(out);
      }
      case FUSE_OPEN: {
        fuse_open_out out{};
        out.open_flags = FOPEN_DIRECT_IO;  // nothing waits in a cache of the kernel's
        return Reply(out);
      }
      case FUSE_READ:
        return Read(request);
      case FUSE_WRITE:
        return Write(request);
      case FUSE_FSYNC:
        Log({0, 0, 1}, nullptr);
        return Reply(0);
      case FUSE_STATFS: {
        fuse_statfs_out out{};
        out.st.bsize = out.st.frsize = 4096;
        return Reply(out);
      }
      case FUSE_FLUSH:
      case FUSE_RELEASE:
      case FUSE_RELEASEDIR:
      case FUSE_DESTROY:
        return Reply(0);
      case FUSE_FORGET:
      case FUSE_BATCH_FORGET:
      case FUSE_INTERRUPT:
        return;  // these have no answer
      case FUSE_FALLOCATE:
        return Reply(EOPNOTSUPP);
      default:
        return Reply(ENOSYS);
    }
  }

  Mapped disk_;
  int log_;
  int kernel_;
  std::uint64_t asked_ = 0;
};

// Copies a file, its holes as holes.
void CopySparse(const std::string& from, const std::string& to) {
  const int source = Open(from, O_RDONLY);
  const int target = Open(to, O_WRONLY | O_CREAT | O_TRUNC);
  const off_t end = ::lseek(source, 0, SEEK_END);
  if (end < 0 || ::ftruncate(target, end) != 0) RaiseErrno(to);
  off_t data = 0;
  while ((data = ::lseek(source, data, SEEK_DATA)) >= 0) {
    const off_t hole = ::lseek(source, data, SEEK_HOLE);
    std::vector<char> bytes(static_cast<std::size_t>(hole - data));
    if (::pread(source, bytes.data(), bytes.size(), data) != hole - data) RaiseErrno(from);
    if (::pwrite(target, bytes.data(), bytes.size(), data) != hole - data) RaiseErrno(to);
    data = hole;
  }
  ::close(source);
  ::close(target);
}

// How much of what was not flushed is there after a cut: nothing, some, or all of it.
class Luck {
 public:
  explicit Luck(std::uint64_t seed) : random_(seed) {
    constexpr double kChances[] = {0.02, 0.2, 0.5, 0.8, 0.98, 1};
    chance_ = seed == 0 ? 0 : kChances[random_() % std::size(kChances)];
  }
  bool Keeps() { return std::uniform_real_distribution<>(0, 1)(random_) < chance_; }

 private:
  std::mt19937_64 random_;
  double chance_;
};

void Cut(const std::string& base, const std::string& logFile, std::uint64_t position, std::uint64_t seed,
         const std::string& image) {
  CopySparse(base, image);
  const Mapped log(logFile, false);
  const Mapped disk(image, true);
  if (position > log.size()) throw std::runtime_error("the log is shorter than that");
  struct Write {
    std::uint64_t at;
    const char* bytes;
    std::size_t size;
  };
  std::vector<Write> writes;
  std::size_t flushed = 0;
  for (std::uint64_t at = 0; at + sizeof(Entry) <= position;) {
    Entry entry{};
    std::memcpy(&entry, log.bytes() + at, sizeof entry);
    at += sizeof entry;
    if (at + entry.length > position) break;
    if (entry.isFlush != 0) flushed = writes.size();
    if (entry.isFlush == 0) writes.push_back({entry.offset, log.bytes() + at, entry.length});
    at += entry.length;
  }
  // The superblock of ext4 is two sectors under one checksum: whoever tears it has no file system, whatever was done on it.
  constexpr std::uint64_t kSecondOfSuperblock = 1536;
  Luck luck(seed);
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const Write& write = writes[i];
    bool keeps = false;
    for (std::size_t done = 0; done < write.size;) {
      const std::size_t size = std::min(write.size - done, kSector);
      if (done == 0 || write.at + done != kSecondOfSuperblock) keeps = i < flushed || luck.Keeps();
      if (keeps) std::memcpy(disk.bytes() + write.at + done, write.bytes + done, size);
      done += size;
    }
  }
}

}  // namespace

int main(int count, char** words) {
  const std::vector<std::string> arguments(words + 1, words + count);
  try {
    if (arguments.size() == 4 && arguments[0] == "serve") {
      Server(arguments[1], arguments[2], arguments[3]).Serve();
      return 0;
    }
    if (arguments.size() == 6 && arguments[0] == "cut") {
      Cut(arguments[1], arguments[2], std::stoull(arguments[3]), std::stoull(arguments[4]), arguments[5]);
      return 0;
    }
    std::cerr << "nerio_recorded_disk: see the head of its source\n";
  } catch (const std::exception& error) {
    std::cerr << "nerio_recorded_disk: " << error.what() << '\n';
  }
  return 2;
}

#include "src/common/datastore/file_system.h"

#include <sys/vfs.h>

#include <iterator>

namespace zelk::datastore {

namespace {

// As statfs(2) reports them in f_type. <linux/magic.h> knows half of these:
// most parallel file systems are built outside the kernel's tree.
struct known_magic {
  unsigned long magic;
  const char* name;
};

constexpr known_magic network_file_systems[] = {
    {0x00006969, "NFS"},
    {0x0BD00BD0, "Lustre"},
    {0x47504653, "GPFS"},
    {0x19830326, "BeeGFS"},
    {0x00C36400, "CephFS"},
    {0x0000517B, "SMB"},
    {0xFE534D42, "SMB"},
    {0xFF534D42, "CIFS"},
    {0x65735546, "FUSE"},
    {0x5346414F, "AFS"},
    {0x6B414653, "AFS"},
    {0x01021997, "9P"},
    {0x7461636F, "OCFS2"},
    {0x01161970, "GFS2"},
    {0xAAD7AAEA, "PanFS"},
    {0x20030528, "OrangeFS"},
    {0x73757245, "Coda"},
    {0x0000564C, "NCP"},
    {0x61756673, "AUFS"},
    {0x013661DE, "StorNext"},
    {0x786F4256, "VirtualBox shared folder"},
};

std::string directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string network_file_system_name(long magic) {
  // f_type is signed, and 32-bit constants reach it with and without their
  // sign: only the low half tells.
  const unsigned long low = static_cast<unsigned long>(magic) & 0xFFFFFFFFUL;
  for (const known_magic& known : network_file_systems)
    if (known.magic == low) return known.name;
  return "";
}

std::string network_file_system(const std::string& path) {
  struct statfs found = {};
  if (::statfs(path.c_str(), &found) == -1 &&
      ::statfs(directory_of(path).c_str(), &found) == -1)
    return "";
  return network_file_system_name(static_cast<long>(found.f_type));
}

}  // namespace zelk::datastore

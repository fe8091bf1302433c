// Files and folders that leave nothing behind, whatever ends the program.
//
// The data lie in a file without a name. Operations on names need names: those
// are made in a folder of a known name, one at a time, so that what is left by
// a machine that lost its power is one empty file, which the next run removes.
#pragma once

#include <string>

namespace zelk::perf::disk {

struct open_file {
  int descriptor = -1;  // the caller closes it
  bool direct = false;  // past the page cache
  int code = 0;         // errno when there is no descriptor
};

// A new file without a name in the folder, past the page cache where its file
// system can.
open_file open_unnamed(const std::string& folder);

// ".zelk_disk_fs_rw.HOST.USER"
std::string private_name();

// The folder of that name, made or taken over from an earlier run of this user,
// locked and emptied. A negative errno when there is none to be had: EBUSY when
// another run is at work in it, EPERM when it belongs to somebody else.
int open_private_folder(const std::string& parent);

// Removes it with what is in it, if it is this user's and no other process
// holds its lock.
void remove_private_folder(const std::string& parent);

// The same for a folder that this process holds open.
void close_private_folder(const std::string& parent, int descriptor);

}  // namespace zelk::perf::disk

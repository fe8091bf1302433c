// The node names of a run, read from a node file (doc/formats.md).
//
//   # rack 1                                     a comment; blank lines too
//   head01            role=head,login
//   node[01-16,20]    role=compute               ranges: ranges.h
//   gpu[1-2]n[01-04]  role=enhanced subcluster=gpu
//
// A list keeps file order and drops repeats. It never touches the network: a
// name that resolves nowhere is still a name. Not thread-safe.
//
// Words are parted by blanks and tabs. A comment begins with "#" at the start
// of a word. Lines may end in CR LF, the last one in nothing, and the file may
// begin with a byte order mark.

#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

namespace zelk::node {

// One node: its name and the key=value notes that stand behind it.
struct node_entry {
  std::string name;
  std::map<std::string, std::string> notes;
};

class Nodelist {
 public:
  // `source_name` names the file in error records.
  explicit Nodelist(std::string source_name = "nodefile");

  // Makes the list anew of all that is left in `in`. A name or range that is
  // not understood, or a failing read, leaves the list empty after one error
  // record with the file's line. What stands behind a name never does.
  //
  // Notes of a name that stands again are added to those at its first place:
  // roles are joined, any other key takes the later value.
  void parse(std::istream& in);

  const std::vector<node_entry>& nodes() const { return nodes_; }
  // Returns the entry of that name, or null.
  const node_entry* find(const std::string& name) const;

 private:
  void clear();
  void add(std::string name, const std::map<std::string, std::string>& notes);

  // A place in nodes_ plus one (0: free) and the hash of the name there.
  struct slot {
    std::uint32_t place = 0;
    std::uint32_t hash = 0;
  };
  std::size_t slot_of(const std::string& name, std::uint32_t hash) const;
  void grow_slots();

  std::string source_;
  std::vector<node_entry> nodes_;
  // A hash table, at most half full. It holds no names, so that a list of a
  // million takes little more than the names themselves.
  std::vector<slot> slots_;
};

// Returns a complaint ("SOURCE:LINE: expected ...") for each word behind a name
// that is no role=..., subcluster=... or class=... note, and for each role that
// the product does not have. For tools that use notes; it reads no names.
std::vector<std::string> note_problems(std::istream& in,
                                       const std::string& source_name);

}  // namespace zelk::node

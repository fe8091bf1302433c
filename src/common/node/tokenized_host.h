// Folding of host names into the range notation that cluster tools share.

#pragma once

#include <string>
#include <vector>

namespace zelk {

class TokenizedHost {
 public:
  // Returns `labels` as one text that ClusterShell, pdsh and Slurm read back to
  // the same names: ranges in brackets, joined by commas, node2 before node10,
  // each name once, zero padding kept (node1 and node01 stay apart).
  //
  //   node1 node3 node2     node[1-3]
  //   n08 n09 n10 n9        n9,n[08-10]
  //   node1-ib node2-ib     node1-ib,node2-ib    Slurm reads no other way
  //   login                 login
  //   (none)                ""
  //
  // Only the number at a name's end folds. Empty labels are left out, and a
  // byte that no name can hold there (bracket, comma, blank, control) is
  // written as "%": the label stays visible and names no other node.
  static std::string get_merged_hosts(const std::vector<std::string>& labels);
};

}  // namespace zelk

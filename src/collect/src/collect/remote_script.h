// The text of /bin/sh that runs on a node and looks after one program there.
//
// It is the same text for every way to a node. It starts the program in a
// session of its own, bounds its time, ends it when the head node is gone, and
// says what happened in marked lines (marked_stream.h). See remote_script.cpp
// for why it is written as it is. Pure text; nothing here starts anything.

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {

// From being asked to end to being killed.
constexpr std::chrono::seconds remote_grace{10};

// The words behind the mark, in the order in which they may come:
//
//   begin NODE          on both streams, once: the login is done
//   missing PATH        the program is not there or not executable: the end
//   version FOUND       it is another version, or "unknown": the end
//   files               there is no room for the private folder: the end
//   lacks TOOL          the node has no such tool: the end
//   end exit STATUS     the program ended; STATUS as a shell has it. At the
//                       limit that is 124, 137 or 143 (timeout(1) differs)
//   end stopped STATUS  it was ended because the lifeline broke, or by a signal
enum class lifeline {
  none,  // standard input means nothing: a signal is what ends a run
  own,   // it ends with the connection, and only then may this shell be killed
  shared,  // it ends with the launching program, which may kill this shell too
};

struct script_options {
  std::string nonce;  // letters and digits; the same for all nodes of a launch
  lifeline line = lifeline::own;
  std::chrono::seconds delay{0};  // before the program starts
  std::chrono::seconds grace = remote_grace;
};

// The beginning of every marked line.
std::string script_mark(std::string_view nonce);

// Letters and digits, by chance.
std::string make_nonce();

// The text for one node, to be read by sh from standard input: it takes
// nothing of what follows it there.
std::string remote_script(const launch& what, const script_options& options);

// How a node of many that all get the same text finds out which one it is.
struct node_identity {
  std::string variable;  // of the environment
  // The variable's value for each of the launches. Values that no launch has
  // do nothing.
  std::vector<std::string> values;
};

// The text for many nodes. What nodes have in common stands in it once: a
// thousand nodes that differ in their names alone need a few kilobytes more
// than one. Requires: as many values as launches, and as many options, or one
// for all.
std::string remote_script(const std::vector<launch>& what,
                          const std::vector<script_options>& options,
                          const node_identity& identity);

// The words of a command that run such a text of any length, in portions that
// the kernel takes as arguments.
std::vector<std::string> script_as_command(const std::string& text);

// What a program's file holds for its version to be found by, as what(1) does:
// "@(#)zelk_run_provider 1.2.0>".
std::string version_mark(std::string_view version);

// Returns why the launch could never be run, "" when it can: an argument with
// a zero byte, a name that is none for a variable or for a file.
std::string impossible(const launch& what);

}  // namespace zelk::collect

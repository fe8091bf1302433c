// Test support: judgements for those who write reports of them.
//
// Both are built from nothing but constants, so that what a report makes of
// them can be compared byte by byte.

#pragma once

#include <cstddef>

#include "src/check/judgement.h"

namespace zelk::check {

// Run 412 of a cluster of 136 nodes: node[001-096] are class A, node[097-128]
// class B, gpu[01-08] class G. Eleven nodes have six kinds of trouble, one
// trouble is gone since run 391, and all got a new kernel.
judgement example_judgement();

// The run that the example is made of, with the facts that differ.
run_data example_run();

// Few nodes, but everything that nodes, files and people may write holds what
// breaks a form that does not escape it: control characters, quotes, </script>,
// ]]>, commas, line ends, marks that turn lines round, formulas, a value of
// 1 MiB, numbers that are none.
judgement hostile_judgement();
run_data hostile_run();

// As many nodes as asked for under 46 providers, a hundredth of them in
// trouble.
judgement large_judgement(std::size_t nodes);

}  // namespace zelk::check

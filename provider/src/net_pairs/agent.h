// The part of the probe that runs on every node: it takes orders from one
// descriptor, measures, and answers on another.
//
// An agent never outlives its coordinator: the end of its orders is its own
// end, and so is the time that it was given at its start, whatever it waits
// for.

#pragma once

namespace zelk::net_pairs {

// Returns the exit status: 0 after the end of the orders, 2 for an order that
// it does not understand. Throws `failure` when it cannot listen.
int run_agent(int orders, int answers);

}  // namespace zelk::net_pairs

// Why a program that reads a datastore ends before it has done its work.
//
// Thrown, and told once by main(); a datastore::store_error that nobody catches
// is the third kind and ends as `failure` does. what() is for the user.

#pragma once

#include <stdexcept>
#include <string>

namespace zelk::reading {

// Nothing was begun: a mistake on the command line, no such run, a datastore
// out of reach. Ends with status 3.
class refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// It was begun and could not be done. Ends with status 2.
class failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zelk::reading

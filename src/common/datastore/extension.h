// What a data source of the datastore implements.
//
// One operation is one call: a code, an input, an output, and something extra
// that only the extension gives a meaning to. The datastore moves no data of
// its own and knows no format: what the pointers point at is a matter between
// the caller and the extension. An extension says in its own header which
// operations it has and which thread may call them; unless it says otherwise,
// that is the thread that made it.

#pragma once

namespace zelk::datastore {

// The operation codes. An extension answers UNSUPPORTED_OPERATION to a code
// that it does not know, these included.
enum operation : unsigned short {
  operation_open = 0x201,    // make ready; again after a failure
  operation_close = 0x202,   // flush, then let go of the store
  operation_write = 0x203,   // 515: output is the record to take
  operation_flush = 0x204,   // make everything that was taken durable
  operation_health = 0x205,  // output receives the extension's state
};

class DataStoreExtension {
 public:
  // What control() returns. Every value that is not the first is a failure.
  static constexpr int OPERATION_SUCCESSFULL = 0;
  static constexpr int UNSUPPORTED_OPERATION = 1;
  // The store cannot take anything just now (disk full, input or output error,
  // another process writing); nothing was lost and nothing was taken. Try the
  // same call again later.
  static constexpr int OPERATION_DELAYED = 2;
  // This input alone is refused; the next one may be taken.
  static constexpr int OPERATION_REJECTED = 3;
  // The store is of no more use as it is open now.
  static constexpr int OPERATION_FAILED = 4;
  // The extension has ended.
  static constexpr int EXTENSION_MISSING = 5;

  DataStoreExtension() = default;
  DataStoreExtension(const DataStoreExtension&) = delete;
  DataStoreExtension& operator=(const DataStoreExtension&) = delete;
  virtual ~DataStoreExtension() = default;

  // Performs one operation and returns a status from above. It has reported
  // its own failures when it returns.
  virtual int control(unsigned short operation, const void* input, void* output,
                      void* extra) = 0;
};

}  // namespace zelk::datastore

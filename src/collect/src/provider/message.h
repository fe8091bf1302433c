// The accumulate message: a provider result as four ZeroMQ frames.
//
// Header, stdout, stderr, node names; no frame has a tag or a length of its
// own. Sockets belong to the caller and to the caller's thread.

#pragma once

#include <string>

#include "src/collect/src/provider/result.h"

typedef struct _zsock_t zsock_t;  // czmq.h, which only message.cpp includes
typedef struct _zmsg_t zmsg_t;

namespace zelk {

// Sends `record`, of each block as many bytes as the header says. Returns
// whether the message was handed to ZeroMQ; a failure is written to standard
// error as "zmsg_send: " and errno. Nothing is sent, after one error record, of
// a record with a size beyond its block.
bool send_provider_result(const provider_result& record, zsock_t* socket);

// Receives one message and decodes it into `record`. Returns false without a
// message, and after one error record for a message of another shape.
//
// For peers of the same installation. A first frame shorter than the header
// aborts the process; whoever listens to a network calls the functions below.
bool receive_provider_result(provider_result& record, zsock_t* socket);

// The three steps of receiving, for a server that must live.
//
// Returns "" when decode_result_message() may be called on `message`, else what
// is wrong with it: the number of frames, a header of another length or `api`,
// or a frame of another length than the header says.
std::string result_message_fault(zmsg_t* message);

// Takes the frames out of `message` into `record`: the header and the node
// names are replaced, the output blocks appended to. Tells of it at level info.
// Returns false, after one error record, when there are not four frames or a
// block's frame is shorter than the header claims; the record is then
// unchanged. Aborts on a first frame that is too short. `message` stays the
// caller's.
bool decode_result_message(provider_result& record, zmsg_t* message);

}  // namespace zelk

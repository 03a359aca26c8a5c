// Stand-ins for qz_net, qz_log and qz_common inside the session fuzzer: no
// sockets, no threads, no files. The transport answers every request frame
// on the caller's thread, before send returns, with a batch of deliveries
// read from the fuzz input (see session_input.h).
#pragma once

#include "session_input.h"

namespace qz::fuzz {

// The input batches are read from; null answers nothing.
void set_batch_source(InputReader *input);

// Delivers one batch as if the device sent it with no request outstanding;
// its frames refer to the last request sent.
void deliver_unsolicited();

}  // namespace qz::fuzz

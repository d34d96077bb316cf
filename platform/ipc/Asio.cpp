// The one copy of Asio's compiled part. The server lives on a queue that its owner runs, and the
// two may be in different libraries. Were each to have a copy, with the owner's hidden, then the
// variable in which Asio notes the queue that a thread runs would exist twice, and the server would
// look into the wrong one.

#include <boost/asio/impl/src.hpp>

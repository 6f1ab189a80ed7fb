#pragma once

// The bodies of the two worker threads, in the form that pthread_create wants; the argument is not
// looked at and the result is null. Each waits without limit for its socket, hands every readable
// event to its handler, and ends when the handler says so, the wait fails or its socket is -1. The
// trace is written out before a wait that has nothing to do, and when the thread ends.

/// Responses on `g_SockToDNSServers`, for the upstream response relay.
void* thread_answer(void* unused);

/// Queries on `g_SockToClientApps`, for the local query intake. It ends without a word when the
/// intake refuses a datagram, and nothing starts it again.
void* thread_query(void* unused);

// The addresses of the test site that are not files: answers with a status, a delay, a fault or a challenge.
//
//   /status/N                    the status N with a small page (204 and 304 without)
//   /empty  /archive.zip  /attachment  /unknown-type
//   /redirect?to=URL[&status=N]  /redirect/chain/N (N hops to /plain.html)
//   /auth/basic|digest|bearer|none   401 with that challenge, or with none
//   /close/before|headers|body   the connection ends before, within the head, within the body of the answer
//   /never                       no answer
//   /drip[?ms=N&type=T]          a page that grows by one line every N milliseconds and has no end
//   /beacon?...                  a small answer; the request log holds what was asked
//   /with-icon?href=URL[&type=T] a page whose head links that site icon
//   /cookie/set  /cookie/probe   sets cookies both ways, and asks for something afterwards
//   /heavy/                      300 nodes, a dozen pictures, a web font, scripts
//
// Any address, a file's too, takes "delay=N" in its query: the answer comes N milliseconds later.
#pragma once

#include "LoopbackSite.h"

namespace loopback_site {

// Answers a request for one of the addresses above; false when it is none of them.
[[nodiscard]] bool answerRoute(SoupServerMessage* message, const Query& query);

} // namespace loopback_site

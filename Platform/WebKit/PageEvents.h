// Which event of the engine is which call of the delegates: the one table. No engine type appears here, so that the
// decisions can be read and tested by themselves.
#pragma once

#include "Foundation/NSError.h"

namespace platform {

enum class LoadPhase : unsigned char { Requested, Started, Redirected, Committed, Finished };

// What the engine reports.
enum class PageEvent : unsigned char {
    LoadStarted,
    LoadRedirected,
    LoadCommitted,
    LoadCommittedToNothing, // about:blank in place of the address that was asked for: the engine refused its port
    LoadFinished,
    LoadFailedBeforeCommit,
    LoadFailedAfterCommit,
    CertificateRefused,
    IconChanged,
    ChallengeReceived,
    ChallengeCancelled,
    WebProcessEnded,
    NetworkProcessEnded,
};

// What follows from it.
enum class PageReaction : unsigned char {
    Nothing,
    DidStartProvisionalLoad,
    BecomeCommitted,
    AwaitCompletion, // then didFinishLoad, see LoadCompletion.h
    DidFailProvisionalLoad,
    DidFailLoad,
    DidReceiveIcon,
    DidReceiveAuthenticationChallenge,
    DidCancelAuthenticationChallenge,
    Terminate, // no delegate call exists for it; the run is over as after a fatal signal
};

[[nodiscard]] PageReaction reactionTo(PageEvent event);

// A failed load as an event: by the phase that the load had reached.
[[nodiscard]] PageEvent failureAt(LoadPhase phase);

// The engine's error in the platform's terms: a cancelled load is NSURLErrorCancelled, any other keeps domain and code.
[[nodiscard]] NSError errorFromEngine(std::string_view domain, int code, std::string_view message);

} // namespace platform

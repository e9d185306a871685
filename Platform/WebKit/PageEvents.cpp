#include "WebKit/PageEvents.h"

namespace platform {
namespace {

struct Row {
    PageEvent event;
    PageReaction reaction;
};

constexpr Row table[] = {
    {PageEvent::LoadStarted, PageReaction::DidStartProvisionalLoad},
    // A redirection goes on with the same provisional load.
    {PageEvent::LoadRedirected, PageReaction::Nothing},
    {PageEvent::LoadCommitted, PageReaction::BecomeCommitted},
    {PageEvent::LoadCommittedToNothing, PageReaction::DidFailProvisionalLoad},
    {PageEvent::LoadFinished, PageReaction::AwaitCompletion},
    {PageEvent::LoadFailedBeforeCommit, PageReaction::DidFailProvisionalLoad},
    {PageEvent::LoadFailedAfterCommit, PageReaction::DidFailLoad},
    {PageEvent::CertificateRefused, PageReaction::DidFailProvisionalLoad},
    {PageEvent::IconChanged, PageReaction::DidReceiveIcon},
    {PageEvent::ChallengeReceived, PageReaction::DidReceiveAuthenticationChallenge},
    {PageEvent::ChallengeCancelled, PageReaction::DidCancelAuthenticationChallenge},
    {PageEvent::WebProcessEnded, PageReaction::Terminate},
    {PageEvent::NetworkProcessEnded, PageReaction::Terminate},
};

} // namespace

PageReaction reactionTo(PageEvent event) {
    for (const Row& row : table)
        if (row.event == event)
            return row.reaction;
    return PageReaction::Nothing;
}

PageEvent failureAt(LoadPhase phase) {
    return phase < LoadPhase::Committed ? PageEvent::LoadFailedBeforeCommit : PageEvent::LoadFailedAfterCommit;
}

NSError errorFromEngine(std::string_view domain, int code, std::string_view message) {
    constexpr int engineCancelled = 302; // WEBKIT_NETWORK_ERROR_CANCELLED
    const String text = stringWithUTF8OrLatin1(message);
    if (domain == "WebKitNetworkError" && code == engineCancelled)
        return {NSURLErrorDomain, NSURLErrorCancelled, text};
    return {stringWithUTF8OrLatin1(domain), code, text};
}

} // namespace platform

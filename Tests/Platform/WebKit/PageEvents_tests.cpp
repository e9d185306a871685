#include "WebKit/PageEvents.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct ReactionRow {
    const char* name;
    PageEvent event;
    PageReaction reaction;
};

TEST(PageEvents, EveryEventHasItsReaction) {
    const ReactionRow rows[] = {
        {"started", PageEvent::LoadStarted, PageReaction::DidStartProvisionalLoad},
        {"redirected", PageEvent::LoadRedirected, PageReaction::Nothing},
        {"committed", PageEvent::LoadCommitted, PageReaction::BecomeCommitted},
        {"a refused port", PageEvent::LoadCommittedToNothing, PageReaction::DidFailProvisionalLoad},
        {"finished", PageEvent::LoadFinished, PageReaction::AwaitCompletion},
        {"failed before commit", PageEvent::LoadFailedBeforeCommit, PageReaction::DidFailProvisionalLoad},
        {"failed after commit", PageEvent::LoadFailedAfterCommit, PageReaction::DidFailLoad},
        {"certificate", PageEvent::CertificateRefused, PageReaction::DidFailProvisionalLoad},
        {"icon", PageEvent::IconChanged, PageReaction::DidReceiveIcon},
        {"challenge", PageEvent::ChallengeReceived, PageReaction::DidReceiveAuthenticationChallenge},
        {"challenge cancelled", PageEvent::ChallengeCancelled, PageReaction::DidCancelAuthenticationChallenge},
        {"web process", PageEvent::WebProcessEnded, PageReaction::Terminate},
        {"network process", PageEvent::NetworkProcessEnded, PageReaction::Terminate},
    };
    unsigned next = 0; // the rows cover the enumeration from its first value to its last
    for (const ReactionRow& row : rows) {
        EXPECT_EQ(reactionTo(row.event), row.reaction) << row.name;
        EXPECT_EQ(static_cast<unsigned>(row.event), next++) << row.name;
    }
    EXPECT_EQ(reactionTo(static_cast<PageEvent>(next)), PageReaction::Nothing) << "no further event has a reaction";
}

struct FailureRow {
    LoadPhase phase;
    PageEvent event;
};

TEST(PageEvents, AFailureIsProvisionalUntilTheCommit) {
    const FailureRow rows[] = {
        {LoadPhase::Requested, PageEvent::LoadFailedBeforeCommit},
        {LoadPhase::Started, PageEvent::LoadFailedBeforeCommit},
        {LoadPhase::Redirected, PageEvent::LoadFailedBeforeCommit},
        {LoadPhase::Committed, PageEvent::LoadFailedAfterCommit},
        {LoadPhase::Finished, PageEvent::LoadFailedAfterCommit},
    };
    for (const FailureRow& row : rows)
        EXPECT_EQ(failureAt(row.phase), row.event) << static_cast<int>(row.phase);
}

struct ErrorRow {
    const char* domain;
    int code;
    const char* message;
    NSError error;
};

TEST(PageEvents, OnlyTheEnginesCancelledErrorBecomesCancelled) {
    const ErrorRow rows[] = {
        {"WebKitNetworkError", 302, "Load request cancelled", {u"NSURLErrorDomain", -999, u"Load request cancelled"}},
        {"WebKitNetworkError", 301, "Unknown protocol", {u"WebKitNetworkError", 301, u"Unknown protocol"}},
        {"WebKitNetworkError", 300, "", {u"WebKitNetworkError", 300, u""}},
        {"WebKitPolicyError", 302, "policy", {u"WebKitPolicyError", 302, u"policy"}},
        {"g-io-error-quark", 19, "Operation was cancelled", {u"g-io-error-quark", 19, u"Operation was cancelled"}},
        {"WebKitNetworkError", -999, "not ours", {u"WebKitNetworkError", -999, u"not ours"}},
        {"WebKitNetworkErrors", 302, "another domain", {u"WebKitNetworkErrors", 302, u"another domain"}},
        {"", 302, "no domain", {u"", 302, u"no domain"}},
        {"WebKitNetworkError", 302, "abgebrochen \xC3\xBC", {u"NSURLErrorDomain", -999, u"abgebrochen \u00FC"}},
        {"WebKitNetworkError", 299, "latin \xFC", {u"WebKitNetworkError", 299, u"latin \u00FC"}},
    };
    for (const ErrorRow& row : rows) {
        const NSError error = errorFromEngine(row.domain, row.code, row.message);
        EXPECT_EQ(error, row.error) << row.domain << ' ' << row.code << ' ' << row.message;
        EXPECT_EQ(error.code() == NSURLErrorCancelled && error.domain() == NSURLErrorDomain,
                  row.error.domain() == NSURLErrorDomain)
            << row.domain << ' ' << row.code;
    }
}

} // namespace
} // namespace platform

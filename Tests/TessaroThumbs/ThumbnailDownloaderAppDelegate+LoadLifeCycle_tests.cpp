// What the delegate does on each call of the web view.
#include "HelperTest.h"

namespace tessaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr long cancelled = platform::NSURLErrorCancelled;
constexpr long cannotConnect = -1004;

// The web view's side: calls the delegate through the interfaces that the view knows.
class Page {
public:
    explicit Page(OpenDelegate& delegate)
        : view_(*delegate._webView), loads_(delegate), resources_(delegate), policy_(delegate), ui_(delegate) {}

    [[nodiscard]] WebView& view() { return view_; }
    [[nodiscard]] WebFrame& main() { return view_.mainFrame(); }
    [[nodiscard]] WebFrame& inner() { return inner_; }
    [[nodiscard]] platform::WebPolicyDelegate& policy() { return policy_; }
    [[nodiscard]] platform::WebUIDelegate& ui() { return ui_; }

    static void makeProvisional(WebFrame& frame, StringView address) {
        frame.setProvisionalDataSource(
            platform::WebDataSource(NSURLRequest::requestWithURL(*NSURL::URLWithString(address))));
    }
    void start(WebFrame& frame) { loads_.webView_didStartProvisionalLoadForFrame(view_, frame); }
    void failProvisional(WebFrame& frame, long code) {
        loads_.webView_didFailProvisionalLoadWithError_forFrame(view_, {platform::NSURLErrorDomain, code}, frame);
    }
    void failCommitted(WebFrame& frame, long code, StringView domain = platform::NSURLErrorDomain) {
        loads_.webView_didFailLoadWithError_forFrame(view_, {domain, code}, frame);
    }
    void finish(WebFrame& frame) { loads_.webView_didFinishLoadForFrame(view_, frame); }
    void icon(WebFrame& frame, const NSImage& image) { loads_.webView_didReceiveIcon_forFrame(view_, image, frame); }
    void challenge(const std::optional<String>& realm, WebResourceIdentifier resource = 1) {
        resources_.webView_resource_didReceiveAuthenticationChallenge_fromDataSource(view_, resource, {{realm}},
                                                                                     nullptr);
    }
    void cancelChallenge(const std::optional<String>& realm) {
        resources_.webView_resource_didCancelAuthenticationChallenge_fromDataSource(view_, 1, {{realm}}, nullptr);
    }
    void failPlugIn() {
        resources_.webView_plugInFailedWithError_dataSource(view_, {u"WebKitErrorDomain", 203, u"no plug-in"}, nullptr);
    }

private:
    WebView& view_;
    WebFrame inner_{view_};
    platform::WebFrameLoadDelegate& loads_;
    platform::WebResourceLoadDelegate& resources_;
    platform::WebPolicyDelegate& policy_;
    platform::WebUIDelegate& ui_;
};

enum class Outcome : unsigned char { GoesOn, EndsWithRecord, EndsWithoutRecord };

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
    return out << (outcome == Outcome::GoesOn           ? "goes on"
                   : outcome == Outcome::EndsWithRecord ? "ends with a record"
                                                        : "ends without a record");
}

class LifeCycle : public HelperTest {
protected:
    void SetUp() override {
        launchOrdinaryRun();
        page = std::make_unique<Page>(*delegate);
    }
    // Does it, and says how the run stands then.
    Outcome outcomeOf(const std::function<void()>& action) {
        script().calls.clear();
        const std::string output = outputOf(action);
        if (!script().wasCalled("NSApplication terminate")) {
            EXPECT_EQ(output, "");
            EXPECT_THAT(script().calls, IsEmpty());
            return Outcome::GoesOn;
        }
        EXPECT_EQ(script().calls.back(), "NSApplication terminate the delegate");
        EXPECT_EQ(script().callsOf("NSApplication terminate"), 1u);
        if (output.empty()) {
            EXPECT_EQ(script().calls.size(), 1u) << "nothing is rendered";
            return Outcome::EndsWithoutRecord;
        }
        EXPECT_FALSE(recordIn(output).large.empty());
        return Outcome::EndsWithRecord;
    }

    std::unique_ptr<Page> page;
};

struct EventRow {
    const char* name;
    void (*event)(Page& page);
    Outcome outcome;
    std::vector<std::string> lines; // when verbose, ahead of the rendering's own
    friend std::ostream& operator<<(std::ostream& out, const EventRow& row) { return out << row.name; }
};

const EventRow events[] = {
    // The main frame
    {"main frame starts",
     [](Page& p) {
         p.makeProvisional(p.main(), u"http://page.example/a?b=c");
         p.start(p.main());
     },
     Outcome::GoesOn,
     {"Loading: 'http://page.example/a?b=c'"}},
    {"main frame starts without a source", [](Page& p) { p.start(p.main()); }, Outcome::GoesOn, {"Loading: '(null)'"}},
    {"address with percent signs",
     [](Page& p) {
         p.makeProvisional(p.main(), u"http://page.example/%40%25d");
         p.start(p.main());
     },
     Outcome::GoesOn,
     {"Loading: 'http://page.example/%40%25d'"}},
    {"provisional load fails",
     [](Page& p) {
         p.makeProvisional(p.main(), u"http://page.example/provisional");
         p.failProvisional(p.main(), cannotConnect);
     },
     Outcome::EndsWithoutRecord,
     {"Failed to process 'http://page.example/provisional'"}},
    {"provisional load fails, cancelled",
     [](Page& p) {
         p.makeProvisional(p.main(), u"http://page.example/provisional");
         p.failProvisional(p.main(), cancelled);
     },
     Outcome::EndsWithoutRecord,
     {"Failed to process 'http://page.example/provisional'"}},
    {"provisional load fails without a source",
     [](Page& p) { p.failProvisional(p.main(), 0); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"provisional load fails, certificate",
     [](Page& p) { p.failProvisional(p.main(), platform::NSURLErrorServerCertificateUntrusted); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"committed load fails",
     [](Page& p) { p.failCommitted(p.main(), cannotConnect); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"committed load fails though its address is known",
     [](Page& p) {
         p.makeProvisional(p.main(), u"http://page.example/next");
         p.failCommitted(p.main(), cannotConnect);
     },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"committed load fails, cancelled",
     [](Page& p) { p.failCommitted(p.main(), cancelled); },
     Outcome::GoesOn,
     {"Received NSURLErrorCancelled, probably a redirect"}},
    {"committed load fails, the code alone counts",
     [](Page& p) { p.failCommitted(p.main(), cancelled, u"Other"); },
     Outcome::GoesOn,
     {"Received NSURLErrorCancelled, probably a redirect"}},
    {"committed load fails, 999",
     [](Page& p) { p.failCommitted(p.main(), 999); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"committed load fails, -998",
     [](Page& p) { p.failCommitted(p.main(), -998); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"committed load fails, 0",
     [](Page& p) { p.failCommitted(p.main(), 0); },
     Outcome::EndsWithoutRecord,
     {"Failed to process '(null)'"}},
    {"main frame finishes",
     [](Page& p) { p.finish(p.main()); },
     Outcome::EndsWithRecord,
     {"webView:didFinishForFrame:"}},
    {"icon", [](Page& p) { p.icon(p.main(), plainImage(16, 16, 0xFF0000FF)); }, Outcome::GoesOn, {}},

    // Another frame
    {"inner frame starts",
     [](Page& p) {
         p.makeProvisional(p.inner(), u"http://inner.example/");
         p.start(p.inner());
     },
     Outcome::GoesOn,
     {}},
    {"inner frame's provisional load fails",
     [](Page& p) { p.failProvisional(p.inner(), cannotConnect); },
     Outcome::GoesOn,
     {}},
    {"inner frame's provisional load is cancelled",
     [](Page& p) { p.failProvisional(p.inner(), cancelled); },
     Outcome::GoesOn,
     {}},
    {"inner frame's committed load fails",
     [](Page& p) { p.failCommitted(p.inner(), cannotConnect); },
     Outcome::GoesOn,
     {}},
    {"inner frame's committed load is cancelled",
     [](Page& p) { p.failCommitted(p.inner(), cancelled); },
     Outcome::GoesOn,
     {}},
    {"inner frame finishes", [](Page& p) { p.finish(p.inner()); }, Outcome::GoesOn, {}},
    {"inner frame's icon", [](Page& p) { p.icon(p.inner(), plainImage(16, 16, 0xFF0000FF)); }, Outcome::GoesOn, {}},

    // Any resource of any frame
    {"challenge",
     [](Page& p) { p.challenge(u"the realm"); },
     Outcome::EndsWithRecord,
     {"didReceiveAuthenticationChallenge: the realm"}},
    {"challenge on another resource",
     [](Page& p) { p.challenge(u"images", 4711); },
     Outcome::EndsWithRecord,
     {"didReceiveAuthenticationChallenge: images"}},
    {"challenge without a realm",
     [](Page& p) { p.challenge(std::nullopt); },
     Outcome::EndsWithRecord,
     {"didReceiveAuthenticationChallenge: (null)"}},
    {"challenge with an empty realm",
     [](Page& p) { p.challenge(u""); },
     Outcome::EndsWithRecord,
     {"didReceiveAuthenticationChallenge: "}},
    {"challenge with a realm that looks like a format",
     [](Page& p) { p.challenge(u"%@ %s 100% \u00E9"); },
     Outcome::EndsWithRecord,
     {"didReceiveAuthenticationChallenge: %@ %s 100% \u00E9"}},
    {"challenge is cancelled",
     [](Page& p) { p.cancelChallenge(u"the realm"); },
     Outcome::GoesOn,
     {"didCancelAuthenticationChallenge: the realm"}},
    {"challenge without a realm is cancelled",
     [](Page& p) { p.cancelChallenge(std::nullopt); },
     Outcome::GoesOn,
     {"didCancelAuthenticationChallenge: (null)"}},
    {"plug-in fails",
     [](Page& p) { p.failPlugIn(); },
     Outcome::EndsWithoutRecord,
     {"plugInFailedWithError 'Error Domain=WebKitErrorDomain Code=203 \"no plug-in\"'"}},
};

class Event : public LifeCycle, public testing::WithParamInterface<EventRow> {};

TEST_P(Event, Quiet) {
    EXPECT_EQ(outcomeOf([this] { GetParam().event(*page); }), GetParam().outcome);
    EXPECT_FALSE(std::filesystem::exists(home / "Library/Logs")) << "nothing is logged and no folder made";
}

TEST_P(Event, Verbose) {
    setFlag(verbose); // in the middle of the run
    std::vector<std::string> linesAtTheEnd;
    script().during["NSApplication terminate"] = [&] { linesAtTheEnd = logged(); };
    EXPECT_EQ(outcomeOf([this] { GetParam().event(*page); }), GetParam().outcome);
    std::vector<std::string> lines = logged();
    if (GetParam().outcome != Outcome::GoesOn) {
        EXPECT_EQ(linesAtTheEnd, lines) << "everything is logged before the end";
    }
    if (GetParam().outcome == Outcome::EndsWithRecord) {
        ASSERT_EQ(lines.size(), GetParam().lines.size() + 2);
        EXPECT_THAT(lines.back(), testing::StartsWith("uuid = (null), l = "));
        lines.pop_back();
        EXPECT_EQ(lines.back(), "saveThumb");
        lines.pop_back();
    }
    EXPECT_EQ(lines, GetParam().lines);
}

// The flag is asked for at each line, not remembered from the launch or from the line before.
TEST_P(Event, NoLongerVerbose) {
    setFlag(verbose);
    page->start(page->main());
    ASSERT_THAT(logged(), ElementsAre("Loading: '(null)'"));
    setFlag(verbose, "<integer>0</integer>");
    EXPECT_EQ(outcomeOf([this] { GetParam().event(*page); }), GetParam().outcome);
    EXPECT_THAT(logged(), ElementsAre("Loading: '(null)'"));
}

INSTANTIATE_TEST_SUITE_P(Rows, Event, testing::ValuesIn(events));

struct CourseRow {
    const char* name;
    std::vector<void (*)(Page& page)> untilThen; // through all of which the run goes on
    void (*last)(Page& page);
    Outcome outcome;
    friend std::ostream& operator<<(std::ostream& out, const CourseRow& row) { return out << row.name; }
};

const auto startsMain = [](Page& p) { p.start(p.main()); };
const auto finishesMain = [](Page& p) { p.finish(p.main()); };
const auto cancelsCommitted = [](Page& p) { p.failCommitted(p.main(), cancelled); };

const CourseRow courses[] = {
    {"plain", {startsMain}, finishesMain, Outcome::EndsWithRecord},
    {"sent on by script", {startsMain, cancelsCommitted, startsMain}, finishesMain, Outcome::EndsWithRecord},
    {"sent on twice",
     {startsMain, cancelsCommitted, startsMain, cancelsCommitted, startsMain},
     finishesMain,
     Outcome::EndsWithRecord},
    {"cancelled, and nothing follows", {startsMain}, cancelsCommitted, Outcome::GoesOn},
    {"cancelled, the next one fails",
     {startsMain, cancelsCommitted, startsMain},
     [](Page& p) { p.failProvisional(p.main(), cannotConnect); },
     Outcome::EndsWithoutRecord},
    {"cancelled, the next one is cancelled before its commit",
     {startsMain, cancelsCommitted, startsMain},
     [](Page& p) { p.failProvisional(p.main(), cancelled); },
     Outcome::EndsWithoutRecord},
    {"cancelled, the next one fails after its commit",
     {startsMain, cancelsCommitted, startsMain},
     [](Page& p) { p.failCommitted(p.main(), cannotConnect); },
     Outcome::EndsWithoutRecord},
    {"an inner frame fails first",
     {startsMain, [](Page& p) { p.start(p.inner()); }, [](Page& p) { p.failProvisional(p.inner(), cannotConnect); },
      [](Page& p) { p.failCommitted(p.inner(), cannotConnect); }},
     finishesMain,
     Outcome::EndsWithRecord},
    {"an inner frame finishes first",
     {startsMain, [](Page& p) { p.start(p.inner()); }, [](Page& p) { p.finish(p.inner()); }},
     finishesMain,
     Outcome::EndsWithRecord},
    {"a challenge before anything has started", {}, [](Page& p) { p.challenge(u"proxy"); }, Outcome::EndsWithRecord},
    {"a challenge while an inner frame loads",
     {startsMain, [](Page& p) { p.start(p.inner()); }},
     [](Page& p) { p.challenge(u"inner"); },
     Outcome::EndsWithRecord},
    {"a plug-in fails while the page waits for its next load",
     {startsMain, cancelsCommitted},
     [](Page& p) { p.failPlugIn(); },
     Outcome::EndsWithoutRecord},
    {"a challenge was cancelled",
     {startsMain, [](Page& p) { p.cancelChallenge(u"r"); }},
     finishesMain,
     Outcome::EndsWithRecord},
};

class Course : public LifeCycle, public testing::WithParamInterface<CourseRow> {};

TEST_P(Course, OfALoad) {
    for (std::size_t i = 0; i < GetParam().untilThen.size(); ++i)
        EXPECT_EQ(outcomeOf([&] { GetParam().untilThen[i](*page); }), Outcome::GoesOn) << i;
    EXPECT_EQ(outcomeOf([&] { GetParam().last(*page); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(Rows, Course, testing::ValuesIn(courses));

TEST_F(LifeCycle, TheLastIconOfTheMainFrameIsKeptAsItCame) {
    EXPECT_FALSE(delegate->_smallIcon);
    page->icon(page->inner(), plainImage(1, 1, 0xFF111111));
    EXPECT_FALSE(delegate->_smallIcon);
    page->icon(page->main(), plainImage(16, 16, 0xFFFF0000));
    ASSERT_TRUE(delegate->_smallIcon);
    EXPECT_EQ(delegate->_smallIcon->size(), (NSSize{16, 16}));
    const NSImage last = plainImage(48, 20, 0x80008000);
    page->icon(page->main(), last);
    page->icon(page->inner(), plainImage(1, 1, 0xFF111111));
    EXPECT_EQ(delegate->_smallIcon->size(), (NSSize{48, 20}));
    EXPECT_EQ(delegate->_smallIcon->TIFFRepresentation(), last.TIFFRepresentation());
    EXPECT_FALSE(delegate->_mediumIcon);
    EXPECT_FALSE(delegate->_largeIcon);

    const ReadRecord record = recordIn(outputOf([this] { page->finish(page->main()); }));
    EXPECT_EQ(record.small, last.TIFFRepresentation());
    EXPECT_TRUE(record.medium.empty());
}

TEST_F(LifeCycle, EveryNavigationGoesAhead) {
    int used = 0;
    platform::WebPolicyDecisionListener listener{[&used] { ++used; }};
    setFlag(verbose);
    int expected = 0;
    for (const char16_t* address : {u"http://page.example/", u"https://other.example/", u"about:blank", u"mailto:a@b"})
        for (WebFrame* frame : {&page->main(), &page->inner(), static_cast<WebFrame*>(nullptr)}) {
            page->policy().webView_decidePolicyForNavigationAction_request_frame_decisionListener(
                page->view(), NSURLRequest::requestWithURL(*NSURL::URLWithString(address)), frame, listener);
            EXPECT_EQ(used, ++expected) << "told once";
        }
    EXPECT_THAT(script().calls, IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(LifeCycle, NothingIsShownWhateverThePageAsks) {
    setFlag(verbose);
    platform::WebUIDelegate& ui = page->ui();
    WebView& view = page->view();
    const auto request = NSURLRequest::requestWithURL(*NSURL::URLWithString(u"http://page.example/"));
    const std::string output = outputOf([&] {
        EXPECT_EQ(ui.webView_createWebViewModalDialogWithRequest(view, request), nullptr);
        ui.webViewRunModal(view);
        EXPECT_FALSE(ui.webViewAreToolbarsVisible(view));
        EXPECT_FALSE(ui.webViewIsStatusBarVisible(view));
        EXPECT_FALSE(ui.webViewIsResizable(view));
        for (const bool flag : {true, false}) {
            ui.webView_setResizable(view, flag);
            EXPECT_FALSE(ui.webViewIsResizable(view));
        }
        ui.webView_setFrame(view, platform::NSMakeRect(1, 2, 3, 4));
        for (WebFrame* frame : {&page->main(), &page->inner(), static_cast<WebFrame*>(nullptr)}) {
            ui.webView_runJavaScriptAlertPanelWithMessage_initiatedByFrame(view, u"message", frame);
            EXPECT_FALSE(ui.webView_runJavaScriptConfirmPanelWithMessage_initiatedByFrame(view, u"sure?", frame));
            const auto text = ui.webView_runJavaScriptTextInputPanelWithPrompt_defaultText_initiatedByFrame(
                view, u"prompt", u"the default text", frame);
            ASSERT_TRUE(text) << "not cancelled";
            EXPECT_EQ(*text, u"");
            EXPECT_FALSE(ui.webView_runBeforeUnloadConfirmPanelWithMessage_initiatedByFrame(view, u"leave?", frame));
        }
        EXPECT_FALSE(ui.webView_shouldPerformAction_fromSender(view, u"print:", nullptr));
        EXPECT_FALSE(ui.webView_shouldPerformAction_fromSender(view, u"close:", delegate.get()));
    });
    EXPECT_EQ(output, "");
    EXPECT_THAT(script().calls, IsEmpty()) << "the view and the window were left alone";
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(LifeCycle, AFileChooserIsNeverAnswered) {
    int answers = 0;
    {
        WebOpenPanelResultListener listener{[&answers](StringView) { ++answers; }, [&answers] { ++answers; }};
        page->ui().webView_runOpenPanelForFileButtonWithResultListener(page->view(), listener);
    }
    EXPECT_EQ(answers, 0);
    EXPECT_THAT(script().calls, IsEmpty());
}

} // namespace
} // namespace tessaro

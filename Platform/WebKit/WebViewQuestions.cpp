// What the page asks, handed to the policy and UI delegates, and their answers handed back.
#include "WebKit/WebViewEngine.h"

namespace platform {
namespace {

String text(const char* bytes) {
    return stringWithUTF8OrLatin1(bytes ? bytes : "");
}

} // namespace

bool WebView::Engine::decideNavigation(WebKitNavigationPolicyDecision* decision) {
    WebKitURIRequest* request =
        webkit_navigation_action_get_request(webkit_navigation_policy_decision_get_navigation_action(decision));
    const auto url = NSURL::URLWithString(text(webkit_uri_request_get_uri(request)));
    if (!policyDelegate || !url)
        return false;
    bool isUsed = false;
    WebPolicyDecisionListener listener{[&] {
        isUsed = true;
        webkit_policy_decision_use(WEBKIT_POLICY_DECISION(decision));
    }};
    policyDelegate->webView_decidePolicyForNavigationAction_request_frame_decisionListener(
        owner_, NSURLRequest::requestWithURL(*url), nullptr, listener);
    return isUsed;
}

void WebView::Engine::answerDialog(WebKitScriptDialog* dialog) {
    WebUIDelegate defaults;
    WebUIDelegate& delegate = uiDelegate ? *uiDelegate : defaults;
    const String message = text(webkit_script_dialog_get_message(dialog));
    switch (webkit_script_dialog_get_dialog_type(dialog)) {
    case WEBKIT_SCRIPT_DIALOG_ALERT:
        delegate.webView_runJavaScriptAlertPanelWithMessage_initiatedByFrame(owner_, message, nullptr);
        break;
    case WEBKIT_SCRIPT_DIALOG_CONFIRM:
        webkit_script_dialog_confirm_set_confirmed(
            dialog, delegate.webView_runJavaScriptConfirmPanelWithMessage_initiatedByFrame(owner_, message, nullptr));
        break;
    case WEBKIT_SCRIPT_DIALOG_PROMPT: {
        const auto answer = delegate.webView_runJavaScriptTextInputPanelWithPrompt_defaultText_initiatedByFrame(
            owner_, message, text(webkit_script_dialog_prompt_get_default_text(dialog)), nullptr);
        if (answer) // else the page sees null
            webkit_script_dialog_prompt_set_text(dialog, lossyUTF8String(*answer).c_str());
        break;
    }
    case WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM:
        webkit_script_dialog_confirm_set_confirmed(
            dialog, delegate.webView_runBeforeUnloadConfirmPanelWithMessage_initiatedByFrame(owner_, message, nullptr));
        break;
    }
}

void WebView::Engine::offerFileChooser(WebKitFileChooserRequest* request) {
    g_object_ref(request); // letting go of it would cancel the choice
    WebOpenPanelResultListener listener{[request](StringView path) {
                                            const std::string file = lossyUTF8String(path);
                                            const char* const files[] = {file.c_str(), nullptr};
                                            webkit_file_chooser_request_select_files(request, files);
                                        },
                                        [request] { webkit_file_chooser_request_cancel(request); }};
    if (uiDelegate)
        uiDelegate->webView_runOpenPanelForFileButtonWithResultListener(owner_, listener);
}

} // namespace platform

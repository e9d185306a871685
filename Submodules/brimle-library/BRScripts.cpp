#include "brimle/BRScripts.h"

#include "Foundation/NSArrayDescription.h"
#include "Foundation/NSFormat.h"
#include "Foundation/NSTask.h"
#include "brimle/CollectedText.h"
#include "brimle/NSMutableDictionary+Brimle.h"

namespace brimle {
namespace {

using platform::NSTask;
using platform::stringWithFormat;

struct Outcome {
    std::optional<String> out; // absent: the child wrote nothing
    std::optional<String> err;
};

// Absent when nothing came.
std::optional<String> textOf(CollectedText& collected, StringView otherwise) {
    if (collected.empty())
        return std::nullopt;
    auto text = collected.text();
    return text ? std::move(text) : String(otherwise);
}

Outcome outcomeOf(NSTask& task, std::optional<DataView> input) {
    if (input)
        static_cast<void>(task.setStandardInputPipe()); // without one the child shares ours
    if (!task.setStandardOutputPipe() || !task.setStandardErrorPipe() || !task.launch(nullptr))
        return {};
    // Texts as they come, so that the raw output is never held beside them.
    CollectedText out;
    CollectedText err;
    task.exchange(
        input.value_or(DataView()), [&out](DataView bytes) { out.append(bytes); },
        [&err](DataView bytes) { err.append(bytes); });
    return {textOf(out, u"Failed to convert output data into a string"),
            textOf(err, u"Failed to convert error data into a string")};
}

} // namespace

NSMutableDictionary runScriptWaitForExit(StringView script, std::optional<StringView> arguments,
                                         std::optional<DataView> input, bool wait) {
    const String command = arguments ? stringWithFormat("%@ %@", script, *arguments) : String(script);
    NSTask task(u"/bin/bash", {u"-c", command});
    Outcome outcome = outcomeOf(task, input);
    if (wait)
        task.waitUntilExit();
    if (!outcome.out)
        outcome.out = stringWithFormat("Did not receive any output from running the script:\n%@", command);
    NSMutableDictionary result;
    br_setObject_forKey(result, std::move(outcome.out), u"out");
    br_setObject_forKey(result, std::move(outcome.err), u"err");
    if (wait)
        br_setObject_forKey(result, task.terminationStatus(), u"status");
    return result;
}

NSMutableDictionary runScript(StringView script, std::optional<StringView> arguments, std::optional<DataView> input) {
    return runScriptWaitForExit(script, arguments, input, false);
}

NSMutableDictionary runTask(StringView path, const std::vector<String>& arguments, std::optional<DataView> input) {
    NSTask task(path, arguments);
    Outcome outcome = outcomeOf(task, input);
    task.waitUntilExit();
    if (!outcome.out)
        outcome.out = stringWithFormat("There was no output after running the task '%@' with parameters %@", path,
                                       platform::descriptionOfArray(arguments));
    NSMutableDictionary result;
    br_setObject_forKey(result, std::move(outcome.out), u"out");
    br_setObject_forKey(result, std::move(outcome.err), u"err");
    return result;
}

} // namespace brimle

#include "brimle/BRScripts.h"

#include "Foundation/NSArrayDescription.h"
#include "Foundation/NSFormat.h"
#include "Foundation/NSTask.h"
#include "brimle/NSMutableDictionary+Brimle.h"
#include "brimle/NSString+BrimleData.h"

#include <new>

namespace brimle {
namespace {

using platform::CollectedBytes;
using platform::NSTask;
using platform::stringWithFormat;

// Absent when memory does not suffice.
std::optional<String> decoded(const CollectedBytes& bytes) {
    if (!bytes.complete())
        return std::nullopt;
    try {
        return br_utf8stringWithData(bytes.view());
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

struct Outcome {
    std::optional<String> out; // absent: the child wrote nothing
    std::optional<String> err;
};

Outcome outcomeOf(NSTask& task, std::optional<DataView> input) {
    CollectedBytes out;
    CollectedBytes err;
    if (input)
        static_cast<void>(task.setStandardInputPipe()); // without one the child shares ours
    if (!task.setStandardOutputPipe() || !task.setStandardErrorPipe() || !task.launch(nullptr))
        return {};
    task.exchange(input.value_or(DataView()), out, err);
    Outcome outcome;
    if (!out.view().empty() || !out.complete())
        outcome.out = decoded(out).value_or(u"Failed to convert output data into a string");
    out = {}; // before the second text is made
    if (!err.view().empty() || !err.complete())
        outcome.err = decoded(err).value_or(u"Failed to convert error data into a string");
    return outcome;
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

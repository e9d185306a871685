// The text operations beside their peers: the same results by one search or replacement after another, and ICU's
// converters.
#include "Ratios.h"
#include "Tests/brimle-library/TextReference.h"
#include "TextSamples.h"

#include "brimle/NSString+BrimleDomain.h"
#include "brimle/NSString+BrimleHTML.h"
#include "brimle/NSString+BrimlePlain.h"

#include <cstdlib>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

namespace {

using namespace text_samples;
using TextOperation = String (*)(StringView);

void run(benchmark::State& state, const String& text, TextOperation operation) {
    for (auto _ : state)
        benchmark::DoNotOptimize(operation(text));
    state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
}

const std::vector<String>& tenThousandAddresses() {
    static const std::vector<String> made = addresses(10000);
    return made;
}
const String& html() {
    static const String made = ordinaryHTML(oneMebi);
    return made;
}
const String& entities() {
    static const String made = entityRichText(oneMebi);
    return made;
}
const String& accents() {
    static const String made = accentedText(oneMebi);
    return made;
}

void domains(benchmark::State& state, TextOperation operation) {
    for (auto _ : state)
        for (const String& address : tenThousandAddresses())
            benchmark::DoNotOptimize(operation(address));
    state.SetItemsProcessed(state.iterations() * 10000);
}
void ours_domain(benchmark::State& state) {
    domains(state, brimle::br_stringByExtracting2ndTLD);
}
void linear_domain(benchmark::State& state) {
    domains(state, reference::secondLevelDomain);
}

void ours_printable(benchmark::State& state) {
    run(state, html(), brimle::br_asPrintableHTML);
}
void chain_printable(benchmark::State& state) {
    run(state, html(), reference::asPrintableHTML);
}
void ours_javascript(benchmark::State& state) {
    run(state, html(), brimle::br_javascript);
}
void chain_javascript(benchmark::State& state) {
    run(state, html(), reference::javascript);
}
void ours_htmlString(benchmark::State& state) {
    run(state, html(), brimle::br_htmlString);
}
void chain_htmlString(benchmark::State& state) {
    run(state, html(), reference::htmlStringChain);
}

void ours_entities(benchmark::State& state) {
    run(state, entities(), brimle::br_stringByDecodingHTMLEntities);
}
void steps_entities(benchmark::State& state) {
    run(state, entities(), reference::decodingHTMLEntities);
}

void ours_accents(benchmark::State& state) {
    run(state, accents(), brimle::br_stringByStrippingAccentMarks);
}
void passes_accents(benchmark::State& state) {
    run(state, accents(), reference::strippingAccentMarks);
}

// UTF-8 and UTF-16, by language, through ICU's direct functions (u_str...) and through its converter object (ucnv).
enum class Sample { ASCII, HTML, European, International };

const String& utf16(Sample sample) {
    static const String texts[] = {String(oneMebi, u'a'), html(), accents(), internationalText(oneMebi)};
    return texts[static_cast<int>(sample)];
}
const std::string& utf8(Sample sample) {
    static const std::string texts[] = {
        *platform::UTF8String(utf16(Sample::ASCII)), *platform::UTF8String(utf16(Sample::HTML)),
        *platform::UTF8String(utf16(Sample::European)), *platform::UTF8String(utf16(Sample::International))};
    return texts[static_cast<int>(sample)];
}

int32_t length(const auto& text) {
    return static_cast<int32_t>(text.size());
}

String decodedByFunction(const std::string& bytes) {
    String out(bytes.size(), u'\0');
    int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), length(out), &written, bytes.data(), length(bytes), &error);
    out.resize(static_cast<std::size_t>(written));
    return out;
}
std::string encodedByFunction(const String& text) {
    std::string out(text.size() * 3, '\0');
    int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(out.data(), length(out), &written, text.data(), length(text), &error);
    out.resize(static_cast<std::size_t>(written));
    return out;
}
UConverter* converter() {
    static UErrorCode error = U_ZERO_ERROR;
    static UConverter* const opened = ucnv_open("UTF-8", &error);
    return opened;
}
String decodedByConverter(const std::string& bytes) {
    String out(bytes.size(), u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t written = ucnv_toUChars(converter(), out.data(), length(out), bytes.data(), length(bytes), &error);
    out.resize(static_cast<std::size_t>(written));
    return out;
}
std::string encodedByConverter(const String& text) {
    std::string out(text.size() * 3, '\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t written = ucnv_fromUChars(converter(), out.data(), length(out), text.data(), length(text), &error);
    out.resize(static_cast<std::size_t>(written));
    return out;
}

template <Sample sample>
void ours_decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(platform::stringWithUTF8(utf8(sample)));
}
template <Sample sample>
void icu_decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(decodedByFunction(utf8(sample)));
}
template <Sample sample>
void ucnv_decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(decodedByConverter(utf8(sample)));
}
template <Sample sample>
void ours_encode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(platform::UTF8String(utf16(sample)));
}
template <Sample sample>
void icu_encode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(encodedByFunction(utf16(sample)));
}
template <Sample sample>
void ucnv_encode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(encodedByConverter(utf16(sample)));
}

BENCHMARK(ours_domain);
BENCHMARK(linear_domain);
BENCHMARK(ours_printable);
BENCHMARK(chain_printable);
BENCHMARK(ours_javascript);
BENCHMARK(chain_javascript);
BENCHMARK(ours_htmlString);
BENCHMARK(chain_htmlString);
BENCHMARK(ours_entities);
BENCHMARK(steps_entities)->Iterations(1)->Repetitions(1); // seconds
BENCHMARK(ours_accents);
BENCHMARK(passes_accents);
BENCHMARK_TEMPLATE(ours_decode, Sample::ASCII);
BENCHMARK_TEMPLATE(icu_decode, Sample::ASCII);
BENCHMARK_TEMPLATE(ucnv_decode, Sample::ASCII);
BENCHMARK_TEMPLATE(ours_decode, Sample::HTML);
BENCHMARK_TEMPLATE(icu_decode, Sample::HTML);
BENCHMARK_TEMPLATE(ucnv_decode, Sample::HTML);
BENCHMARK_TEMPLATE(ours_decode, Sample::European);
BENCHMARK_TEMPLATE(icu_decode, Sample::European);
BENCHMARK_TEMPLATE(ucnv_decode, Sample::European);
BENCHMARK_TEMPLATE(ours_decode, Sample::International);
BENCHMARK_TEMPLATE(icu_decode, Sample::International);
BENCHMARK_TEMPLATE(ucnv_decode, Sample::International);
BENCHMARK_TEMPLATE(ours_encode, Sample::ASCII);
BENCHMARK_TEMPLATE(icu_encode, Sample::ASCII);
BENCHMARK_TEMPLATE(ucnv_encode, Sample::ASCII);
BENCHMARK_TEMPLATE(ours_encode, Sample::HTML);
BENCHMARK_TEMPLATE(icu_encode, Sample::HTML);
BENCHMARK_TEMPLATE(ucnv_encode, Sample::HTML);
BENCHMARK_TEMPLATE(ours_encode, Sample::European);
BENCHMARK_TEMPLATE(icu_encode, Sample::European);
BENCHMARK_TEMPLATE(ucnv_encode, Sample::European);
BENCHMARK_TEMPLATE(ours_encode, Sample::International);
BENCHMARK_TEMPLATE(icu_encode, Sample::International);
BENCHMARK_TEMPLATE(ucnv_encode, Sample::International);

// A speed is worth nothing without the result.
bool peersAgree() {
    for (const String& address : tenThousandAddresses())
        if (brimle::br_stringByExtracting2ndTLD(address) != reference::secondLevelDomain(address))
            return false;
    return brimle::br_asPrintableHTML(html()) == reference::asPrintableHTML(html()) &&
           brimle::br_javascript(html()) == reference::javascript(html()) &&
           brimle::br_htmlString(html()) == reference::htmlStringChain(html()) &&
           brimle::br_stringByStrippingAccentMarks(accents()) == reference::strippingAccentMarks(accents()) &&
           platform::stringWithUTF8(utf8(Sample::International)) == decodedByFunction(utf8(Sample::International));
}

} // namespace

int main(int argc, char** argv) {
    if (!peersAgree()) {
        std::fputs("the peers do not agree on their results\n", stderr);
        return EXIT_FAILURE;
    }
    std::vector<Ratio> ratios = {{"ours_domain", "linear_domain"},      {"ours_htmlString", "chain_htmlString"},
                                 {"ours_printable", "chain_printable"}, {"ours_javascript", "chain_javascript"},
                                 {"ours_entities", "steps_entities"},   {"ours_accents", "passes_accents"}};
    static constexpr const char* conversions[][3] = {
        {"ours_decode<Sample::ASCII>", "icu_decode<Sample::ASCII>", "ucnv_decode<Sample::ASCII>"},
        {"ours_decode<Sample::HTML>", "icu_decode<Sample::HTML>", "ucnv_decode<Sample::HTML>"},
        {"ours_decode<Sample::European>", "icu_decode<Sample::European>", "ucnv_decode<Sample::European>"},
        {"ours_decode<Sample::International>", "icu_decode<Sample::International>",
         "ucnv_decode<Sample::International>"},
        {"ours_encode<Sample::ASCII>", "icu_encode<Sample::ASCII>", "ucnv_encode<Sample::ASCII>"},
        {"ours_encode<Sample::HTML>", "icu_encode<Sample::HTML>", "ucnv_encode<Sample::HTML>"},
        {"ours_encode<Sample::European>", "icu_encode<Sample::European>", "ucnv_encode<Sample::European>"},
        {"ours_encode<Sample::International>", "icu_encode<Sample::International>",
         "ucnv_encode<Sample::International>"}};
    for (const auto& [ours, direct, object] : conversions)
        ratios.insert(ratios.end(), {{ours, direct}, {ours, object}});
    return runWithRatios(argc, argv, ratios);
}

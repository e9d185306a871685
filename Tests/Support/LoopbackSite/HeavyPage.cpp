#include "HeavyPage.h"

namespace loopback_site {

namespace {

constexpr const char* head = R"(<!doctype html><html><head><meta charset=utf-8><title>A heavy page</title>
<link rel=icon href="/icons/icon.png">
<style>
@font-face { font-family: web; src: url("/fonts/web.ttf"); }
body { margin: 0; font: 14px/1.3 web, sans-serif; background: linear-gradient(#fdfcf7, #e4ecf4); color: #223; }
header { padding: 24px; background: #2d4a6b; color: white; box-shadow: 0 2px 8px rgba(0, 0, 0, 0.4); }
main { display: grid; grid-template-columns: repeat(6, 1fr); gap: 8px; padding: 16px; }
figure { margin: 0; border-radius: 8px; overflow: hidden; box-shadow: 0 1px 4px rgba(0, 0, 0, 0.3); }
figure img { width: 100%; display: block; }
article { padding: 6px; border-radius: 6px; background: rgba(255, 255, 255, 0.8); transition: transform 1s; }
article b { color: #a33; text-shadow: 0 1px 1px #ccc; }
</style>
<script>
function sortCards() {
    const main = document.querySelector('main');
    const cards = [...main.querySelectorAll('article')];
    cards.sort((a, b) => (a.dataset.key * 7919) % 101 - (b.dataset.key * 7919) % 101);
    for (const card of cards) main.append(card);
    for (const card of cards) card.title = card.getBoundingClientRect().top + ' px';
}
function busy() { let sum = 0; for (let i = 0; i < 300000; ++i) sum += Math.sqrt(i); document.body.dataset.sum = sum; }
addEventListener('DOMContentLoaded', () => { sortCards(); busy(); });
</script></head>
<body><header><h1>A heavy page</h1></header><main>
)";

} // namespace

std::string heavyPage() {
    std::string page = head;
    for (int i = 1; i <= 12; ++i)
        page.append("<figure><img src=\"/pictures/")
            .append(i < 10 ? "0" : "")
            .append(std::to_string(i))
            .append(".jpg\" alt=\"\"></figure>\n");
    for (int i = 0; i < 138; ++i)
        page.append("<article data-key=")
            .append(std::to_string(i))
            .append("><b>Card</b> with a few words of text</article>\n");
    return page + "</main></body></html>\n";
}

} // namespace loopback_site

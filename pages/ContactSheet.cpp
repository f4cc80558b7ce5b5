/*
 * ContactSheet.cpp - all drawings of a run to look through, those that need it first.
 */
#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

#include "OverlayText.h"
#include "quarlo/pages.hpp"

namespace quarlo
{

namespace
{

using overlay::Escaped;
using overlay::Fixed;

constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<meta name="color-scheme" content="light dark"/>
<style>
:root { --ground: #f3f4f6; --card: #fff; --text: #1b1f24; --faint: #5a6472; --line: #d4d9e0; --focus: #0b62d6;
  --ok: #0a6b45; --no_frame: #b3261e; --error: #b3261e; --refused: #8a5200; --copied: #4d5562; --left: #4d5562; }
@media (prefers-color-scheme: dark) {
  :root { --ground: #12151a; --card: #1c2128; --text: #eceff3; --faint: #a4acb8; --line: #343b46; --focus: #7db4ff;
    --ok: #35d69a; --no_frame: #ff8a7a; --error: #ff8a7a; --refused: #ffbe3c; --copied: #b4bcc8; --left: #b4bcc8; }
}
* { box-sizing: border-box; }
body { margin: 0; padding: 1.5rem; background: var(--ground); color: var(--text);
  font: 16px/1.45 system-ui, "DejaVu Sans", Arial, sans-serif; }
h1 { margin: 0 0 .5rem; font-size: 1.5rem; }
.counts, .pages { margin: 0; padding: 0; list-style: none; }
.counts { display: flex; flex-wrap: wrap; gap: .4rem .6rem; }
.sheets { display: flex; flex-wrap: wrap; align-items: center; gap: .4rem; margin: 1rem 0; }
.sheets p { margin: 0 .5rem 0 0; }
.sheets a, .sheets b { min-width: 2.2rem; padding: .1rem .5rem; border: 1px solid var(--line); border-radius: .4rem;
  text-align: center; }
.sheets a { border-color: transparent; color: var(--faint); }
.sheets a[href] { border-color: var(--line); background: var(--card); color: var(--focus); text-decoration: none; }
.sheets a[href]:hover { border-color: var(--focus); }
.sheets b { border-color: var(--text); }
.keys { margin: 1rem 0; color: var(--faint); font-size: .9rem; }
.keys span { display: inline-block; margin-right: 1rem; }
kbd { padding: 0 .35rem; border: 1px solid var(--line); border-radius: .25rem; background: var(--card);
  color: var(--text); font: inherit; }
.pages { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(13rem, 100%), 1fr)); gap: 1rem; }
.pages > li { display: flex; min-width: 0; }
.card { display: flex; flex-direction: column; width: 100%; overflow: hidden; border: 1px solid var(--line);
  border-radius: .6rem; background: var(--card); color: inherit; text-decoration: none; scroll-margin: 1rem; }
a.card:hover { border-color: var(--focus); }
a:focus-visible, .card:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.card img, .none { display: block; width: 100%; aspect-ratio: 1 / 1; object-fit: contain; background: #12151a; }
.none { display: grid; place-items: center; color: #a4acb8; }
.about { display: grid; gap: .35rem; padding: .75rem .9rem .9rem; }
.title { margin: 0; font-size: 1rem; font-weight: 600; overflow-wrap: anywhere; }
.badge { display: inline-block; padding: .05rem .55rem; border: 1.5px solid; border-radius: 1rem; font-size: .85rem;
  font-weight: 600; }
.facts { display: flex; flex-wrap: wrap; align-items: center; gap: .3rem .8rem; margin: 0; }
.note { margin: 0; color: var(--faint); font-size: .9rem; overflow-wrap: anywhere; }
.ok { color: var(--ok); } .no_frame { color: var(--no_frame); } .refused { color: var(--refused); }
.copied { color: var(--copied); } .error { color: var(--error); } .left { color: var(--left); }
</style>
)";

/* Shown by the script, without which these keys do nothing. */
constexpr std::string_view kKeys = R"(<p class="keys" hidden="hidden">
<span><kbd>&#8592;</kbd> <kbd>&#8594;</kbd> or <kbd>k</kbd> <kbd>j</kbd> previous and next page</span>
<span><kbd>&#8593;</kbd> <kbd>&#8595;</kbd> a row up and down</span>
<span><kbd>Home</kbd> <kbd>End</kbd> first and last on this sheet</span>
<span><kbd>Enter</kbd> opens the drawing</span>
<span><kbd>Alt</kbd> <kbd>&#8592;</kbd> returns from it</span>
<span><kbd>p</kbd> <kbd>n</kbd> or <kbd>[</kbd> <kbd>]</kbd> previous and next sheet</span>
</p>
)";

/* Keys with Ctrl, Alt or Meta are the browser's. Where nothing has the focus, moves begin at what is in view. What had
 * it is kept in the history when a link is followed, so that coming back leads there. */
constexpr std::string_view kScript = R"(<script>
//<![CDATA[
"use strict";
const list = document.querySelector(".pages");
const cards = [...list.querySelectorAll(".card")];
const focused = () => cards.indexOf(document.activeElement);
const inView = () => Math.max(0, cards.findIndex(card => card.getBoundingClientRect().bottom > 0));
const columns = () => getComputedStyle(list).gridTemplateColumns.split(" ").length;
const rowDown = at => {
  const inLastRow = at >= cards.length - 1 - (cards.length - 1) % columns();
  return inLastRow ? at : Math.min(at + columns(), cards.length - 1);
};
const from = move => at => at < 0 ? inView() : move(at);
const back = from(at => at - 1), on = from(at => at + 1);
const moves = new Map([["ArrowLeft", back], ["k", back], ["ArrowRight", on], ["j", on],
  ["ArrowUp", from(at => at - columns())], ["ArrowDown", from(rowDown)],
  ["Home", () => 0], ["End", () => cards.length - 1]]);
const sheets = new Map([["p", "prev"], ["[", "prev"], ["n", "next"], ["]", "next"]]);
document.addEventListener("keydown", event => {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (sheets.has(event.key)) document.querySelector(`a[rel=${sheets.get(event.key)}]`)?.click();
  if (!moves.has(event.key)) return;
  event.preventDefault();
  cards[moves.get(event.key)(focused())]?.focus();
});
document.addEventListener("click", () => history.replaceState({ card: focused() }, ""));
addEventListener("pageshow", () => cards[history.state?.card]?.focus());
document.querySelector(".keys").hidden = false;
//]]>
</script>
)";

constexpr std::array<Status, 5> kWorstFirst = {Status::error, Status::no_frame, Status::refused, Status::copied,
                                               Status::ok};

const char* Words(Status status)
{
    switch (status) {
    case Status::ok:
        return "cut out";
    case Status::no_frame:
        return "no page found";
    case Status::refused:
        return "refused";
    case Status::copied:
        return "copied as it was";
    case Status::error:
        return "error";
    }
    return "";
}

constexpr const char* kLeft = "left from an earlier run";

std::string Badge(std::string_view kind, const std::string& text)
{
    return "<span class=\"badge " + std::string(kind) + "\">" + text + "</span>";
}

/* What is not a letter, a digit or harmless is written as its number, so that no name is taken for an address. */
std::string UrlOf(const std::string& path)
{
    constexpr char digits[] = "0123456789ABCDEF";
    constexpr std::string_view harmless = "-._~/";
    std::string url;
    for (const char c : path) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (letter || harmless.find(c) != std::string_view::npos) {
            url += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        url += {'%', digits[byte / 16], digits[byte % 16]};
    }
    return url;
}

/* Other pages have no score and no angle that mean anything; of a page that was copied a frame may be known. */
bool HasFrame(const SheetEntry& entry)
{
    if (std::isnan(entry.score)) return false;
    return entry.left || entry.status == Status::ok || entry.status == Status::refused || entry.score > 0.0;
}

std::string About(const SheetEntry& entry)
{
    std::string html = "<div class=\"about\"><h2 class=\"title\">" + Escaped(entry.title) + "</h2>\n";
    html += "<p class=\"facts\">" +
            (entry.left ? Badge("left", kLeft) : Badge(NameOf(entry.status), Words(entry.status)));
    if (HasFrame(entry))
        html += "<span>score " + Fixed(entry.score, 2) + "</span><span>turn " + Fixed(entry.angle_deg, 2) +
                "&#176;</span>";
    html += "</p>\n";
    if (!entry.note.empty()) html += "<p class=\"note\">" + Escaped(entry.note) + "</p>\n";
    return html + "</div>";
}

std::string Picture(const SheetEntry& entry)
{
    const std::string& picture = entry.thumbnail.empty() ? entry.overlay : entry.thumbnail;
    if (picture.empty()) return "<div class=\"none\">no drawing</div>";
    return "<img loading=\"lazy\" src=\"" + UrlOf(picture) + "\" alt=\"Drawing of " + Escaped(entry.title) + "\"/>";
}

/* Tab stops only where there is something to open; other keys reach every card. */
std::string Card(const SheetEntry& entry)
{
    const std::string inside = Picture(entry) + '\n' + About(entry);
    if (entry.overlay.empty()) return "<li><div class=\"card\" tabindex=\"-1\">" + inside + "</div></li>\n";
    return "<li><a class=\"card\" href=\"" + UrlOf(entry.overlay) + "\">" + inside + "</a></li>\n";
}

/* Those next to the page and, in growing steps, those far from it, so that few clicks lead anywhere. */
std::set<int> PagesToLink(int page, int count)
{
    std::set<int> pages = {1, page, count};
    for (std::int64_t step = 1; step < count; step *= 10)
        for (const std::int64_t distance : {step, 2 * step, 5 * step})
            for (const std::int64_t other : {page - distance, page + distance})
                if (other > 1 && other < count) pages.insert(static_cast<int>(other));
    return pages;
}

/* Without an address where there is no such page, so that each link keeps its place. */
std::string PageLink(const std::string& text, int page, int count, const char* rel = "")
{
    if (page < 1 || page > count) return "<a>" + text + "</a>\n";
    return "<a " + std::string(rel) + "href=\"" + ContactSheet::NameOf(page) + "\">" + text + "</a>\n";
}

std::string SheetOf(int page, int count)
{
    return "Sheet " + std::to_string(page) + " of " + std::to_string(count);
}

std::string Navigation(int page, int count)
{
    if (count == 1) return "";
    const std::string number = std::to_string(page);
    std::string html = "<nav class=\"sheets\" aria-label=\"Sheets\">\n<p>" + SheetOf(page, count) + "</p>\n";
    html += PageLink("first", page > 1 ? 1 : 0, count) + PageLink("previous", page - 1, count, "rel=\"prev\" ") +
            PageLink("next", page + 1, count, "rel=\"next\" ") + PageLink("last", page < count ? count : 0, count);
    for (const int other : PagesToLink(page, count))
        html += other == page ? "<b aria-current=\"page\">" + number + "</b>\n"
                              : PageLink(std::to_string(other), other, count);
    return html + "</nav>\n";
}

std::string Heading(std::size_t entries)
{
    return "Quarlo: " + std::to_string(entries) + (entries == 1 ? " page" : " pages") + ", worst first";
}

std::string Counts(const std::array<std::size_t, 6>& counts)
{
    std::string html = "<ul class=\"counts\">\n";
    const auto add = [&](std::size_t count, std::string_view kind, const char* words) {
        if (count > 0) html += "<li>" + Badge(kind, std::to_string(count) + ' ' + words) + "</li>\n";
    };
    for (std::size_t i = 0; i < kWorstFirst.size(); ++i)
        add(counts[i], NameOf(kWorstFirst[i]), Words(kWorstFirst[i]));
    add(counts.back(), "left", kLeft);
    return html + "</ul>\n";
}

} // namespace

void ContactSheet::Add(const SheetEntry& entry)
{
    Item item;
    item.status = entry.status;
    item.left = entry.left;
    item.score = entry.score;
    item.angle_deg = entry.angle_deg;
    item.begin = texts_.size();
    auto end = item.ends.begin();
    for (const std::string* text : {&entry.title, &entry.overlay, &entry.note, &entry.thumbnail}) {
        texts_ += *text;
        *end++ = texts_.size();
    }
    items_.push_back(item);
    sorted_ = false;
}

int ContactSheet::page_count() const
{
    return items_.empty() ? 1 : static_cast<int>((items_.size() - 1) / kEntriesPerPage) + 1;
}

std::string ContactSheet::NameOf(int page)
{
    return page == 1 ? "index.html" : "index-" + std::to_string(page) + ".html";
}

std::string ContactSheet::Page(int page)
{
    const int count = page_count();
    if (page < 1 || page > count) return "";
    if (!sorted_) Sort();
    const std::string heading = Heading(items_.size());
    const std::string navigation = Navigation(page, count);
    std::string html = std::string(kHead) + "<title>" + heading + ". " + SheetOf(page, count) +
                       "</title>\n</head>\n<body>\n<main>\n<h1>" + heading + "</h1>\n" + Counts(counts_) +
                       navigation + std::string(kKeys) + "<ul class=\"pages\">\n";
    const std::size_t first = static_cast<std::size_t>(page - 1) * kEntriesPerPage;
    const std::size_t end = std::min(first + kEntriesPerPage, items_.size());
    for (std::size_t i = first; i < end; ++i) html += Card(EntryOf(items_[i]));
    return html + "</ul>\n" + navigation + "</main>\n" + std::string(kScript) + "</body>\n</html>\n";
}

bool ContactSheet::ComesBefore(const Item& one, const Item& other)
{
    const auto key = [](const Item& item) {
        const int group = item.left ? 2 : item.status == Status::ok ? 1 : 0;
        return std::make_tuple(group, std::isnan(item.score) ? -1.0 : item.score);
    };
    return key(one) < key(other);
}

SheetEntry ContactSheet::EntryOf(const Item& item) const
{
    const auto text = [&](std::size_t i) {
        const std::size_t begin = i == 0 ? item.begin : item.ends[i - 1];
        return texts_.substr(begin, item.ends[i] - begin);
    };
    return {text(0), text(1), item.status, item.score, item.angle_deg, text(2), text(3), item.left};
}

void ContactSheet::Sort()
{
    std::stable_sort(items_.begin(), items_.end(), ComesBefore);
    const auto count = [this](auto is_one) {
        return static_cast<std::size_t>(std::count_if(items_.begin(), items_.end(), is_one));
    };
    for (std::size_t i = 0; i < kWorstFirst.size(); ++i)
        counts_[i] = count([i](const Item& item) { return !item.left && item.status == kWorstFirst[i]; });
    counts_.back() = count([](const Item& item) { return item.left; });
    sorted_ = true;
}

} // namespace quarlo

/*
 * ContactSheet.cpp - all drawings of a run on one page, those that need a look first.
 */
#include <algorithm>
#include <cmath>
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
<title>Quarlo: pages found</title>
<style>
:root { --ground: #f3f4f6; --card: #fff; --text: #1b1f24; --faint: #5a6472; --line: #d4d9e0; --focus: #0b62d6;
  --ok: #0a6b45; --no_frame: #b3261e; --error: #b3261e; --refused: #8a5200; --copied: #4d5562; }
@media (prefers-color-scheme: dark) {
  :root { --ground: #12151a; --card: #1c2128; --text: #eceff3; --faint: #a4acb8; --line: #343b46; --focus: #7db4ff;
    --ok: #35d69a; --no_frame: #ff8a7a; --error: #ff8a7a; --refused: #ffbe3c; --copied: #b4bcc8; }
}
* { box-sizing: border-box; }
body { margin: 0; padding: 1.5rem; background: var(--ground); color: var(--text);
  font: 16px/1.45 system-ui, "DejaVu Sans", Arial, sans-serif; }
h1 { margin: 0 0 .5rem; font-size: 1.5rem; }
.counts { display: flex; flex-wrap: wrap; gap: .4rem .6rem; margin: 0 0 1.25rem; padding: 0; list-style: none; }
.pages { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(19rem, 100%), 1fr)); gap: 1rem;
  margin: 0; padding: 0; list-style: none; }
.pages > li { display: flex; }
.card { display: flex; flex-direction: column; width: 100%; overflow: hidden; border: 1px solid var(--line);
  border-radius: .6rem; background: var(--card); color: inherit; text-decoration: none; }
a.card:hover { border-color: var(--focus); }
a.card:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.card img, .none { display: block; width: 100%; aspect-ratio: 4 / 3; object-fit: contain; background: #12151a; }
.none { display: grid; place-items: center; color: #a4acb8; }
.about { display: grid; gap: .35rem; padding: .75rem .9rem .9rem; }
.title { margin: 0; font-size: 1rem; font-weight: 600; overflow-wrap: anywhere; }
.badge { display: inline-block; padding: .05rem .55rem; border: 1.5px solid; border-radius: 1rem; font-size: .85rem;
  font-weight: 600; }
.facts { display: flex; flex-wrap: wrap; align-items: center; gap: .3rem .8rem; margin: 0; }
.note { margin: 0; color: var(--faint); font-size: .9rem; overflow-wrap: anywhere; }
.ok { color: var(--ok); } .no_frame { color: var(--no_frame); } .refused { color: var(--refused); }
.copied { color: var(--copied); } .error { color: var(--error); }
</style>
</head>
<body>
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

std::string Badge(Status status, const std::string& text)
{
    return "<span class=\"badge " + std::string(NameOf(status)) + "\">" + text + "</span>";
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
    return entry.status == Status::ok || entry.status == Status::refused || entry.score > 0.0;
}

std::string About(const SheetEntry& entry)
{
    std::string html = "<div class=\"about\"><h2 class=\"title\">" + Escaped(entry.title) + "</h2>\n";
    html += "<p class=\"facts\">" + Badge(entry.status, Words(entry.status));
    if (HasFrame(entry))
        html += "<span>score " + Fixed(entry.score, 2) + "</span><span>turn " + Fixed(entry.angle_deg, 2) +
                "&#176;</span>";
    html += "</p>\n";
    if (!entry.note.empty()) html += "<p class=\"note\">" + Escaped(entry.note) + "</p>\n";
    return html + "</div>";
}

std::string Card(const SheetEntry& entry)
{
    if (entry.overlay.empty())
        return "<li><div class=\"card\"><div class=\"none\">no drawing</div>\n" + About(entry) + "</div></li>\n";
    const std::string url = UrlOf(entry.overlay);
    return "<li><a class=\"card\" href=\"" + url + "\"><img loading=\"lazy\" src=\"" + url +
           "\" alt=\"Drawing of " + Escaped(entry.title) + "\"/>\n" + About(entry) + "</a></li>\n";
}

std::string Heading(const std::vector<SheetEntry>& entries)
{
    std::string html = "<h1>Quarlo: " + std::to_string(entries.size()) +
                       (entries.size() == 1 ? " page" : " pages") + ", worst first</h1>\n<ul class=\"counts\">\n";
    for (const Status status : kWorstFirst) {
        const auto count = std::count_if(entries.begin(), entries.end(),
                                         [status](const SheetEntry& entry) { return entry.status == status; });
        if (count > 0) html += "<li>" + Badge(status, std::to_string(count) + ' ' + Words(status)) + "</li>\n";
    }
    return html + "</ul>\n";
}

/* Pages that were not cut out come first, then the lowest scores; a score that is no number is the lowest. */
bool ComesBefore(const SheetEntry& one, const SheetEntry& other)
{
    const auto key = [](const SheetEntry& entry) {
        return std::make_tuple(entry.status == Status::ok, std::isnan(entry.score) ? -1.0 : entry.score);
    };
    return key(one) < key(other);
}

} // namespace

std::string ContactSheet(std::vector<SheetEntry> entries)
{
    std::stable_sort(entries.begin(), entries.end(), ComesBefore);
    std::string html = std::string(kHead) + "<main>\n" + Heading(entries) + "<ul class=\"pages\">\n";
    for (const SheetEntry& entry : entries) html += Card(entry);
    return html + "</ul>\n</main>\n</body>\n</html>\n";
}

} // namespace quarlo

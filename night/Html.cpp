#include "Html.h"

#include <algorithm>

#include "Byte.h"
#include "Format.h"
#include "Tools.h"

const char* const htmlHead = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<title>Registers in the morning</title>
<style>
:root { --page: #fff; --text: #1b1b1f; --rule: #8b8b95; --link: #0645ad; --bar: #3a5fa8; --ok: #d8f0d8;
  --retry: #ffef9e; --fix-file: #ffd2a6; --fix-setup: #e3d3fb; --register: #ffc4d0; color-scheme: light dark; }
@media (prefers-color-scheme: dark) { :root { --page: #16161a; --text: #ececf1; --rule: #75757f; --link: #9dbdff;
  --bar: #8fb0ff; --ok: #1d4023; --retry: #5c4c00; --fix-file: #6b3a08; --fix-setup: #4a3370; --register: #75213a; } }
body { margin: 1rem; background: var(--page); color: var(--text); font: 1rem/1.45 system-ui, sans-serif; }
h1, h2, h3 { line-height: 1.2; }
h3 { margin: 0 0 .3rem; font-size: 1rem; }
h3, p, li, th, code { overflow-wrap: anywhere; }
p { margin: .3rem 0; }
a, summary { color: var(--link); }
ul { list-style: none; padding: 0; }
summary { padding: .3rem 0; cursor: pointer; }
.class, i { background: var(--class); font-style: normal; }
.class { padding: .1rem .4rem; border-radius: .3rem; }
.ok { --class: var(--ok); }
.retry, .open { --class: var(--retry); }
.fix-file { --class: var(--fix-file); }
.fix-setup { --class: var(--fix-setup); }
.register { --class: var(--register); }
.report { --class: #b00020; color: #fff; }
.missing { --class: var(--text); color: var(--page); }
.counts li { display: inline-block; margin: .2rem .3rem .2rem 0; }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(20rem, 100%), 1fr)); gap: .6rem; }
.cards > * { border: 1px solid var(--rule); border-radius: .3rem; padding: .6rem; break-inside: avoid; }
.cards p:last-child { margin-bottom: 0; }
.grid { position: relative; max-height: 85vh; overflow: auto; border: 1px solid var(--rule); }
table { border-spacing: 0; }
caption { position: sticky; left: 0; width: min(60rem, 80vw); padding: .4rem; text-align: left; font-size: .875rem; }
th { position: sticky; left: 0; min-width: min(9rem, 30vw); max-width: min(14rem, 30vw); padding: .1rem .6rem .1rem .4rem;
  text-align: left; font-size: .8rem; background: var(--page); }
td { font: .8rem/1.5 monospace; white-space: pre; background: var(--page); }
thead > * > * { position: sticky; top: 0; z-index: 1; }
thead th { z-index: 2; }
.said { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
section { padding: .5rem 0; content-visibility: auto; contain-intrinsic-size: auto 9rem; }
.plots { display: grid; grid-template-columns: repeat(auto-fit, minmax(9rem, 1fr)); gap: .5rem; }
figure { margin: 0; font-size: .75rem; }
svg { display: block; width: 100%; height: 2rem; border-bottom: 1px solid var(--rule); }
path { stroke: var(--bar); stroke-width: 2; }
:target { outline: 3px solid var(--link); }
@media print { .grid { max-height: none; overflow: visible; } th, td, caption { position: static; } }
</style>
)";

namespace {

/** The bytes of a sign that is not seen and turns letters around, or joins them, in UTF-8: U+200B to U+200F,
 * U+202A to U+202E, U+2060 to U+206F, U+FEFF; 0 for none. */
size_t GetHiddenLength(const std::string& text, size_t position) {
    constexpr size_t length = 3;
    const std::string sign = text.substr(position, length);
    const auto isBetween = [&](const char* first, const char* last) { return sign >= first && sign <= last; };
    return sign.size() == length && (isBetween("\u200b", "\u200f") || isBetween("\u202a", "\u202e") ||
                                     isBetween("\u2060", "\u206f") || sign == "\ufeff")
               ? length
               : 0;
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
    std::string escaped;
    for (size_t i = 0; i < text.size();) {
        const size_t length = Utf8Length(text, i);
        const size_t hidden = std::max(ControlLength(text, i), GetHiddenLength(text, i));
        const char c = text[i];
        if (length == 0 || hidden > 0)
            for (size_t end = i + std::max<size_t>(hidden, 1); i < end; i++)
                escaped += Format("\\x%02x", static_cast<byte>(text[i]));
        else {
            escaped += c == '<'   ? "&lt;"
                       : c == '>' ? "&gt;"
                       : c == '&' ? "&amp;"
                       : c == '"' ? "&quot;"
                                  : text.substr(i, length);
            i += length;
        }
    }
    return escaped;
}

std::string MakeBadge(const std::string& className, const std::string& text) {
    return "<span class=\"class " + className + "\">" + text + className + "</span>";
}

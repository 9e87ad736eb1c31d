#pragma once

#include <string>

/** Pieces of a page in HTML. */

/** What stands before the body: colours for light, dark and paper, and names of classes as those of exit
 * statuses. */
extern const char* const htmlHead;

/** Text for a page: what cannot be seen, and might turn the letters around, is shown by its code. */
std::string EscapeHtml(const std::string& text);
/** "<span class="class retry">3 retry</span>", of a class of an exit status, "missing" or "open". */
std::string MakeBadge(const std::string& className, const std::string& text = "");

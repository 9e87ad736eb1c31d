#pragma once

#include <string>

/**
 * The tables of settings, exit statuses, commands and options, each from its one place in the code, in the
 * forms that the documents need. docs/architecture.md, "What is written once".
 */
std::string GetSettingsMarkdown();
std::string GetExitStatusesMarkdown();

/** A template with its placeholders, such as @SETTINGS_MAN@, filled in. */
std::string FillTemplate(std::string text);

// SPDX-License-Identifier: Apache-2.0
/// Makes the page of a run: a contact sheet on which the images that need a look come first.
#pragma once

#include "run/image_record.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// How every page begins, also that of earlier versions. By it, a run recognises a page that it may replace.
inline constexpr const char* kPageBeginning =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n<!-- The page loads its own folder";

/// The text of report.html, which needs neither a server nor a network. Its pictures are the files NAME.* beside it,
/// which the kind `page` writes. If they are missing, the page says so.
[[nodiscard]] std::string report_page(const std::vector<ImageRecord>& records);

}  // namespace Norvane::Host

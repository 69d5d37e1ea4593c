// What looks like a mistake in a named object that can be used all the same.
#pragma once

#include "platform/base/finding.h"
#include "quzo/settings/named_obj.h"

namespace quzo::host {

// Warnings whose places are the names of fields, without lines. Of stamps only: the text and the HTML.
platform::Findings doubtsOf(const QuzoNamedObj& object);

} // namespace quzo::host

// The deck for WAP phones.
#pragma once

#include "web/page_context.h"
#include "web/page_text.h"

namespace vantry {

// Writes the whole deck: a card with all sites and a card for each.
void WapDeck(const PageContext& c, PageText& page);

}  // namespace vantry

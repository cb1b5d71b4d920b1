// The deck for WAP phones.
#pragma once

#include "web/page_context.h"
#include "web/page_text.h"

namespace vantry {

// Writes the whole deck: a card with all sites and a card for each. A phone that logged in sees what its login opens.
void WapDeck(const PageContext& c, PageText& page, int client_no);

// A deck that asks for a name and a password.
void WapLogin(const PageContext& c, PageText& page);
// One that refuses them.
void WapInvalidLogin(const PageContext& c, PageText& page);

}  // namespace vantry

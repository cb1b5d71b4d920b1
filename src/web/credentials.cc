#include "web/credentials.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

// The settings keep names and passwords as they were typed in.
bool Fit(const LiveTables& t, std::string_view user, std::string_view password, const Credentials& given) {
  const auto form = [&](std::string_view text) {
    return t.Corrected.DecodeForms ? std::string(text) : Upper(Trim(text));
  };
  const bool user_fits = SameSecret(form(user), given.user);
  const bool password_fits = SameSecret(form(password), given.password);
  return user_fits && password_fits;
}

}  // namespace

bool SameSecret(std::string_view a, std::string_view b) {
  unsigned different = a.size() == b.size() ? 0 : 1;
  for (size_t i = 0; i < b.size(); ++i) {
    const unsigned char of_a = i < a.size() ? static_cast<unsigned char>(a[i]) : 0;
    different |= of_a ^ static_cast<unsigned char>(b[i]);
  }
  return different == 0;
}

bool OpensSite(const LiveTables& t, const SiteRec& site, const Credentials& given) {
  return Fit(t, site.WebUserName, site.WebPassword, given);
}

Reach WhatOpens(const LiveTables& t, const Settings& settings, const Credentials& given) {
  const bool has_administrator = !t.Corrected.RefuseEmptyLogin || !Trim(settings.WebUsername).empty();
  if (has_administrator && Fit(t, settings.WebUsername, settings.WebPassword, given)) return Reach::kAllSites;
  const bool opens = std::any_of(t.Sites.begin(), t.Sites.end(), [&](const SiteRec& site) {
    return !Trim(site.WebUserName).empty() && OpensSite(t, site, given);
  });
  return opens ? Reach::kOneUser : Reach::kNothing;
}

}  // namespace vantry

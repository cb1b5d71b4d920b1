// `frmWebColours`: the colours of the pages for browsers.
#pragma once

#include "config/settings.h"
#include "desktop/form_dialog.h"

namespace vantry {

class WebColours final : public FormDialog {
 public:
  // `store` is given the settings with the colours that were confirmed.
  WebColours(LiveTables& t, Prompts& prompts, const Settings& settings, std::function<void(const Settings&)> store,
             FormDialog* parent);

 private:
  void Confirm() override;
  void AddPicker(FormControl& control);

  Settings settings_;
  std::function<void(const Settings&)> store_;
};

}  // namespace vantry

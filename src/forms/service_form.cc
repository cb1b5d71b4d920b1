#include "forms/service_form.h"

namespace vantry {
namespace {

constexpr std::string_view kService = "Service";

const FormField<ServiceForm> kServiceRows[] = {
    Edits<&ServiceForm::account>({kService, "txtAccount", "&Account Name:"}),
    Edits<&ServiceForm::password>({kService, "txtPassword", "Password:", FieldKind::kPassword}),
    Edits<&ServiceForm::password2>({kService, "txtPassword2", "Re-Type Password:", FieldKind::kPassword}),
    Edits<&ServiceForm::starts_automatically>(
        {kService, "chkAuto", "Start The Service Automatically", FieldKind::kCheck}),
    Edits<&ServiceForm::system_account>({kService, "chkSystem", "Use &System Account", FieldKind::kCheck}),
    {{kService, "", "Note: Vantry will not be able to access log files on network shares using the SYSTEM account.",
      FieldKind::kNote}},
};

}  // namespace

const std::span<const FormField<ServiceForm>> kServiceFields = kServiceRows;

}  // namespace vantry

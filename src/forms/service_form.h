// What is asked before the program is installed as a service.
#pragma once

#include <span>

#include "config/service_setup.h"
#include "forms/form_field.h"

namespace vantry {

extern const std::span<const FormField<ServiceForm>> kServiceFields;

}  // namespace vantry

#include "exchange/Forms.h"

#include <array>

namespace orvo::exchange {
namespace {

/// In the order of the help. A form's functions are declared in a header of its folder.
constexpr std::array<Form, 0> kForms = {};

}  // namespace

std::span<const Form> Forms() { return kForms; }

const Form* FindForm(std::string_view name) {
  for (const Form& form : Forms()) {
    if (name == form.szName) return &form;
  }
  return nullptr;
}

}  // namespace orvo::exchange

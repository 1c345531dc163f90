// The Win32 in-memory dialog template of a dialog record. Pure.
// Source: the published layout of DLGTEMPLATE and DLGITEMTEMPLATE.
#pragma once

#include <cstdint>
#include <vector>

#include "service/resources/appended_block.h"

namespace nimbolsp {

// The template's bytes, little-endian: the header, the items each at a multiple of four bytes. Texts become
// UTF-16, numbers are cut to 16 bits; items behind the 65535th are left out.
std::vector<std::uint8_t> buildDialogTemplate(const DialogRecord& dialog);

}  // namespace nimbolsp

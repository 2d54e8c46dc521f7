#pragma once

#include "lab/target/LogicalUnit.h"

namespace lab {

/// The answer to INQUIRY without a page.
std::vector<uint8_t> standardInquiry(const Identity& identity);

/// The answer to INQUIRY for a page of vital product data (00h, 80h, 83h); empty where there is no such page.
std::vector<uint8_t> inquiryPage(const Identity& identity, uint8_t page);

} // namespace lab

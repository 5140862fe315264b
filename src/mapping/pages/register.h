#pragma once

namespace vantry {

// Form4, Form5 and MapErrForm.
void RegisterMappingPages();

}  // namespace vantry

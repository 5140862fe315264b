#pragma once

namespace vantry {

// Form11, Form11Poll and Form12c.
void RegisterTextPages();

}  // namespace vantry

#pragma once
// Makers for the pages of this folder.

namespace vantry {

// Form11, Form11Poll and Form12c.
void RegisterTextPages();

}  // namespace vantry

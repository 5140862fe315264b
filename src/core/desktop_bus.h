#pragma once
// Whether a session's bus is there, by which a desktop takes notes and shows how work is getting
// on. A program that asks for a bus without one may have it started.

namespace vantry {

bool HasDesktopBus();

}  // namespace vantry

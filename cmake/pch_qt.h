#pragma once
// What every page includes.
#include <QtWidgets/QtWidgets>

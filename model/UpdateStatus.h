#pragma once

#include <QString>

// The code a camera item holds before any update has run.
constexpr int kNoUpdateStatus = -255;

// The text shown for a camera's update status code.
QString updateStatusText(int code);

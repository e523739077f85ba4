#pragma once

#include <QByteArray>

// The picture a camera sends as its live snapshot: a road in the camera's own colours with a
// vehicle and its plate that move on with every frame, so that successive snapshots differ.
// Painted pixel by pixel, without fonts or a GUI application.
class SnapshotPainter
{
public:
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 240;

    // PNG bytes of one frame; seed chooses the colours.
    static QByteArray png(quint32 seed, quint64 frame);
};

#pragma once

#include <QWidget>

class QAudioOutput;
class QLabel;
class QMediaPlayer;
class QSlider;
class QStackedWidget;
class QToolButton;
class QVideoWidget;

// A video played large: play and pause, a seek bar, mute. The player starts on the
// first video shown; a file that cannot be played shows the player's reason.
class VideoPreviewView : public QWidget {
    Q_OBJECT

public:
    explicit VideoPreviewView(QWidget* parent = nullptr);
    void load(const QString& path);
    void clear();
    QString errorText() const;

private:
    void ensurePlayer();
    void showMessage(const QString& text);
    void updateTime();

    QMediaPlayer* player_ = nullptr;
    QAudioOutput* audio_ = nullptr;
    QVideoWidget* video_;
    QStackedWidget* stack_;
    QLabel* message_;
    QToolButton* playButton_;
    QToolButton* muteButton_;
    QSlider* seek_;
    QLabel* time_;
    quint64 generation_ = 0;
};

#include "Views/VideoPreviewView.h"

#include "Support/BackgroundTask.h"
#include "Support/PreviewFileReader.h"
#include "Support/TaskExecutor.h"

#include <QAudioOutput>
#include <QAudioDevice>
#include <QMediaDevices>
#include <QHBoxLayout>
#include <QLabel>
#include <QMediaPlayer>
#include <QSlider>
#include <QStackedWidget>
#include <QStyle>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <QVideoWidget>

namespace {

QString clockText(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

VideoPreviewView::VideoPreviewView(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("videoPreview"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    stack_ = new QStackedWidget(this);
    video_ = new QVideoWidget(stack_);
    message_ = new QLabel(stack_);
    message_->setAlignment(Qt::AlignCenter);
    message_->setWordWrap(true);
    stack_->addWidget(video_);
    stack_->addWidget(message_);
    layout->addWidget(stack_, 1);

    auto* bar = new QHBoxLayout;
    playButton_ = new QToolButton(this);
    playButton_->setObjectName(QStringLiteral("play"));
    playButton_->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
    playButton_->setToolTip(QStringLiteral("Play"));
    seek_ = new QSlider(Qt::Horizontal, this);
    seek_->setObjectName(QStringLiteral("seek"));
    time_ = new QLabel(this);
    muteButton_ = new QToolButton(this);
    muteButton_->setObjectName(QStringLiteral("mute"));
    muteButton_->setCheckable(true);
    muteButton_->setIcon(style()->standardIcon(QStyle::SP_MediaVolume));
    muteButton_->setToolTip(QStringLiteral("Mute"));
    bar->addWidget(playButton_);
    bar->addWidget(seek_, 1);
    bar->addWidget(time_);
    bar->addWidget(muteButton_);
    layout->addLayout(bar);

    connect(playButton_, &QToolButton::clicked, this, [this] {
        if (!player_) return;
        if (player_->playbackState() == QMediaPlayer::PlayingState) player_->pause();
        else player_->play();
    });
    connect(seek_, &QSlider::sliderMoved, this, [this](int position) {
        if (player_) player_->setPosition(position);
    });
    connect(muteButton_, &QToolButton::toggled, this, [this](bool muted) {
        if (audio_) audio_->setMuted(muted);
        muteButton_->setIcon(style()->standardIcon(muted ? QStyle::SP_MediaVolumeMuted : QStyle::SP_MediaVolume));
    });
}

void VideoPreviewView::ensurePlayer()
{
    if (player_) return;
    player_ = new QMediaPlayer(this);
    // Without a sound device Qt's player crashes on its first audio frame: the
    // picture plays alone then, and mute has nothing to do.
    if (!QMediaDevices::defaultAudioOutput().isNull()) {
        audio_ = new QAudioOutput(this);
        audio_->setMuted(muteButton_->isChecked());
        player_->setAudioOutput(audio_);
    }
    muteButton_->setEnabled(audio_ != nullptr);
    player_->setVideoOutput(video_);
    connect(player_, &QMediaPlayer::durationChanged, this, [this](qint64 duration) {
        seek_->setRange(0, int(std::min<qint64>(duration, INT_MAX)));
        updateTime();
    });
    connect(player_, &QMediaPlayer::positionChanged, this, [this](qint64 position) {
        if (!seek_->isSliderDown()) seek_->setValue(int(std::min<qint64>(position, INT_MAX)));
        updateTime();
    });
    connect(player_, &QMediaPlayer::playbackStateChanged, this, [this](QMediaPlayer::PlaybackState state) {
        const bool playing = state == QMediaPlayer::PlayingState;
        playButton_->setIcon(style()->standardIcon(playing ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
        playButton_->setToolTip(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
    });
    connect(player_, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error, const QString& text) {
        playButton_->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
        playButton_->setToolTip(QStringLiteral("Play"));
        showMessage(text.isEmpty() ? QStringLiteral("This video cannot be played.") : text);
    });
}

void VideoPreviewView::load(const QString& path)
{
    const quint64 generation = ++generation_;
    if (player_) player_->stop();
    showMessage(QStringLiteral("Loading…"));
    using Checked = std::expected<void, QString>;
    BackgroundTask::run(
        TaskExecutor::previews().get(), this,
        [path](std::stop_token) { return PreviewFileReader::checkRegularFile(path); },
        [this, generation, path](Checked checked) {
            if (generation != generation_) return;
            if (!checked) return showMessage(checked.error());
            ensurePlayer();
            stack_->setCurrentWidget(video_);
            player_->setSource(QUrl::fromLocalFile(path));
        });
}

void VideoPreviewView::clear()
{
    ++generation_;
    if (player_) {
        player_->stop();
        player_->setSource(QUrl());
    }
    showMessage(QString());
}

QString VideoPreviewView::errorText() const
{
    return stack_->currentWidget() == message_ ? message_->text() : QString();
}

void VideoPreviewView::showMessage(const QString& text)
{
    message_->setText(text);
    stack_->setCurrentWidget(message_);
}

void VideoPreviewView::updateTime()
{
    if (!player_) return;
    time_->setText(clockText(player_->position()) + QStringLiteral(" / ") + clockText(player_->duration()));
}

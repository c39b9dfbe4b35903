#include "MarkupKitUI/MarkupEditor.h"

#include "MarkupKit/MarkupSaver.h"
#include "MarkupKitUI/MarkupCanvas.h"

#include <QButtonGroup>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QToolButton>
#include <QtConcurrent/QtConcurrentRun>

namespace {

QToolButton* button(QWidget* parent, const QString& text, const QString& tip)
{
    auto* b = new QToolButton(parent);
    b->setText(text);
    b->setToolTip(tip);
    b->setAutoRaise(true);
    return b;
}

QIcon swatch(const QColor& color)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(color);
    painter.setPen(QPen(Qt::black, 1));
    painter.drawEllipse(QRectF(1.5, 1.5, 13, 13));
    return pixmap;
}

} // namespace

MarkupEditor::MarkupEditor(std::shared_ptr<MarkupToolDefaultsStore> defaults, QWidget* parent)
    : QWidget(parent)
    , defaults_(defaults ? std::move(defaults) : std::make_shared<MarkupToolDefaultsStore>(MarkupKeyValueStore::inMemory()))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(4, 0, 4, 0);
    layout->addLayout(bar);

    canvas_ = new MarkupCanvas;
    scroll_ = new QScrollArea(this);
    scroll_->setWidget(canvas_);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setAlignment(Qt::AlignCenter);
    layout->addWidget(scroll_, 1);

    tools_ = new QButtonGroup(this);
    for (MarkupTool tool : {MarkupTool::rectangle, MarkupTool::ellipse, MarkupTool::blur, MarkupTool::arrow, MarkupTool::pen,
                            MarkupTool::text}) {
        static const char* labels[] = {"▭", "◯", "▦", "↗", "✎", "T"};
        QToolButton* b = button(this, QString::fromUtf8(labels[int(tool)]), title(tool));
        b->setCheckable(true);
        b->setObjectName(QStringLiteral("tool-%1").arg(int(tool)));
        tools_->addButton(b, int(tool));
        bar->addWidget(b);
    }
    connect(tools_, &QButtonGroup::idClicked, this, [this](int id) {
        canvas_->engine().setTool(MarkupTool(id));
        rememberDefaults();
    });

    color_ = button(this, QString(), QStringLiteral("Colour"));
    color_->setObjectName(QStringLiteral("color"));
    bar->addWidget(color_);
    connect(color_, &QToolButton::clicked, this, [this] {
        const QColor chosen = QColorDialog::getColor(canvas_->engine().strokeColor(), this, QStringLiteral("Colour"),
                                                     QColorDialog::ShowAlphaChannel);
        if (!chosen.isValid()) return;
        canvas_->engine().setStrokeColor(chosen);
        canvas_->engine().updateSelectedAnnotationStrokeColor(chosen);
        rememberDefaults();
        syncControls();
    });

    bar->addWidget(new QLabel(QStringLiteral("Width"), this));
    lineWidth_ = new QDoubleSpinBox(this);
    lineWidth_->setRange(1, 8);
    lineWidth_->setSingleStep(0.5);
    lineWidth_->setToolTip(QStringLiteral("Arrow line width"));
    bar->addWidget(lineWidth_);
    heads_ = new QComboBox(this);
    for (MarkupArrowheadStyle style : {MarkupArrowheadStyle::none, MarkupArrowheadStyle::end, MarkupArrowheadStyle::both})
        heads_->addItem(title(style), int(style));
    bar->addWidget(heads_);
    bar->addWidget(new QLabel(QStringLiteral("Text"), this));
    fontSize_ = new QDoubleSpinBox(this);
    fontSize_->setRange(10, 80);
    fontSize_->setDecimals(0);
    fontSize_->setToolTip(QStringLiteral("Text size"));
    bar->addWidget(fontSize_);
    connect(lineWidth_, &QDoubleSpinBox::valueChanged, this, [this](double width) {
        MarkupToolDefaults d = canvas_->engine().currentToolDefaults();
        if (d.arrowLineWidth == width) return;
        d.arrowLineWidth = width;
        canvas_->engine().applyToolDefaults(d);
        canvas_->engine().updateSelectedArrowLineWidth(width);
        rememberDefaults();
    });
    connect(heads_, &QComboBox::activated, this, [this] {
        const auto style = MarkupArrowheadStyle(heads_->currentData().toInt());
        MarkupToolDefaults d = canvas_->engine().currentToolDefaults();
        d.arrowheadStyle = style;
        canvas_->engine().applyToolDefaults(d);
        canvas_->engine().updateSelectedArrowheadStyle(style);
        rememberDefaults();
    });
    connect(fontSize_, &QDoubleSpinBox::valueChanged, this, [this](double size) {
        canvas_->engine().setTextFontSize(size);
        rememberDefaults();
    });

    bar->addStretch(1);
    undo_ = button(this, QStringLiteral("↶"), QStringLiteral("Undo (Ctrl+Z)"));
    redo_ = button(this, QStringLiteral("↷"), QStringLiteral("Redo (Ctrl+Shift+Z)"));
    QToolButton* fit = button(this, QStringLiteral("Fit"), QStringLiteral("Zoom to fit"));
    QToolButton* actual = button(this, QStringLiteral("100%"), QStringLiteral("Actual size"));
    for (QToolButton* b : {undo_, redo_, fit, actual}) bar->addWidget(b);
    connect(undo_, &QToolButton::clicked, this, [this] { canvas_->engine().undo(); });
    connect(redo_, &QToolButton::clicked, this, [this] { canvas_->engine().redo(); });
    connect(fit, &QToolButton::clicked, this, [this] {
        scroll_->setWidgetResizable(true);
        canvas_->zoomToFit();
    });
    connect(actual, &QToolButton::clicked, this, [this] {
        scroll_->setWidgetResizable(false);
        canvas_->setZoom(1);
    });
    connect(canvas_, &MarkupCanvas::annotationsChanged, this, &MarkupEditor::syncControls);
    connect(canvas_, &MarkupCanvas::selectionChanged, this, [this] {
        // Selecting an arrow shows its settings, which then apply to the next one too.
        if (const MarkupAnnotation* a = canvas_->engine().selectedAnnotation(); a && a->shape.isArrow())
            canvas_->engine().adoptSelectedAnnotationDefaults();
        syncControls();
    });

    canvas_->engine().applyToolDefaults(defaults_->load());
    syncControls();
}

MarkupEditor::~MarkupEditor()
{
    // A save under way finishes on its own: it holds copies of what it writes.
    if (saving_) saving_->disconnect(this);
}

void MarkupEditor::open(const QString& path, const QImage& picture, QSize fullSize)
{
    path_ = path;
    scroll_->setWidgetResizable(true);
    canvas_->zoomToFit();
    canvas_->setPicture(picture, fullSize);
    canvas_->setFocus();
    syncControls();
}

bool MarkupEditor::hasAnnotations() const { return !canvas_->engine().annotations().empty(); }

bool MarkupEditor::isSaving() const { return saving_ && saving_->isRunning(); }

void MarkupEditor::syncControls()
{
    const MarkupEngine& engine = canvas_->engine();
    const MarkupToolDefaults d = engine.currentToolDefaults();
    if (QAbstractButton* b = tools_->button(int(d.tool))) b->setChecked(true);
    color_->setIcon(swatch(d.strokeColor));
    const QSignalBlocker blockWidth(lineWidth_), blockHeads(heads_), blockFont(fontSize_);
    lineWidth_->setValue(d.arrowLineWidth);
    heads_->setCurrentIndex(heads_->findData(int(d.arrowheadStyle)));
    fontSize_->setValue(d.textFontSize);
    undo_->setEnabled(engine.canUndo());
    redo_->setEnabled(engine.canRedo());
}

void MarkupEditor::rememberDefaults() { defaults_->save(canvas_->engine().currentToolDefaults()); }

void MarkupEditor::saveCopy()
{
    if (isSaving()) return;
    if (canvas_->isEditingText()) canvas_->commitTextEditor();
    if (!hasAnnotations() || path_.isEmpty()) {
        emit saveFinished(QString());
        return;
    }
    if (!saving_) {
        saving_ = new QFutureWatcher<std::optional<QString>>(this);
        connect(saving_, &QFutureWatcher<std::optional<QString>>::finished, this, [this] {
            const auto written = saving_->result();
            if (written) canvas_->engine().reset();
            emit saveFinished(written.value_or(QString()));
        });
    }
    // Reading, flattening and encoding a large picture takes a second: off this thread.
    saving_->setFuture(QtConcurrent::run([path = path_, annotations = canvas_->engine().annotations()] {
        return MarkupSaver::saveMarkupCopy(path, annotations);
    }));
}

// A player in Qt 6: qt_player FILE
//
// On X11 pictures go into a native window of the widget's; elsewhere the widget draws them itself. Space
// plays and pauses, . and , step, f fills the screen, q quits.

#include <kqplayer/file_player.h>
#include <kqplayer/picture_receiver.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QPainter>
#include <QProxyStyle>
#include <QShortcut>
#include <QSlider>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <QWindow>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

namespace {

/// Shows a file's pictures. Everything here runs on Qt's thread, unless it says otherwise.
class VideoWidget : public QWidget {
public:
    explicit VideoWidget(kq::streams::FilePlayer& player)
        : m_receiver([this] { OnPicture(); }), m_player(player) {
        setAttribute(Qt::WA_DontCreateNativeAncestors);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setMinimumSize(160, 90);
    }
    ~VideoWidget() override { Close(); }

    /// Begins to play. The widget has to be on the screen.
    bool Show(std::string& error) {
        const QSize size = PixelSize();
        const bool isShown = m_player.Show(Parent(), size.width(), size.height(), error);
        Place();
        return isShown;
    }
    QSize sizeHint() const override {
        const kq::streams::MediaFacts& facts = m_player.Facts();
        return QSize(facts.width, facts.height).expandedTo(QSize(640, 360));
    }
    /// To be called while the window system's window is still there.
    void Close() {
        m_view.reset();
        m_player.Close();
    }

protected:
    void resizeEvent(QResizeEvent* /*event*/) override { Place(); }
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        const kq::ReceivedPicture picture = m_receiver.Newest();
        if (!picture.pPixels) {
            return; // nothing yet, or a view of the component's lies above this
        }
        const QImage image(picture.pPixels.get(), picture.nWidth, picture.nHeight, QImage::Format_RGB32);
        const double aspect = m_player.AspectRatio();
        QRect place(QPoint(), QSizeF(aspect, 1).scaled(size(), Qt::KeepAspectRatio).toSize());
        place.moveCenter(rect().center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform, place.size() != image.size());
        painter.drawImage(place, image);
    }

private:
    /// @return the parent for the view: what the window system has for this widget
    void* Parent() {
        if (QGuiApplication::platformName() == "xcb") {
            return reinterpret_cast<void*>(winId());
        }
        return m_receiver.Parent();
    }
    QSize PixelSize() const { return size() * devicePixelRatio(); }

    /// Gives the view the widget's size.
    void Place() {
        void* const view = m_player.Window();
        if (view == nullptr) {
            return; // nothing is shown yet, or this widget draws
        }
        if (!m_view) {
            m_view.reset(QWindow::fromWinId(reinterpret_cast<WId>(view)));
        }
        m_view->setGeometry(0, 0, width(), height());
    }

    /// On the player's thread. Once the receiver's view has gone no more are posted.
    void OnPicture() {
        QMetaObject::invokeMethod(
            this, [this] { update(); }, Qt::QueuedConnection);
    }

    kq::PictureReceiver m_receiver;
    kq::streams::FilePlayer& m_player;
    std::unique_ptr<QWindow> m_view; ///< the view's window, on X11
};

/// A click on a slider moves it there.
class ClickStyle : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        return hint == SH_Slider_AbsoluteSetButtons ? static_cast<int>(Qt::LeftButton)
                                                    : QProxyStyle::styleHint(hint, option, widget, data);
    }
};

/// The window: pictures above a row of controls.
class PlayerWindow : public QWidget {
public:
    PlayerWindow(const QString& title, kq::streams::FilePlayer& player)
        : m_player(player), m_video(new VideoWidget(player)), m_slider(new QSlider(Qt::Horizontal)) {
        auto* const column = new QVBoxLayout(this);
        auto* const row = new QHBoxLayout;
        column->setContentsMargins(0, 0, 0, 0);
        column->addWidget(m_video, 1);
        column->addLayout(row);
        Add(row, QStyle::SP_MediaPlay, Qt::Key_Space, [this] { m_player.TogglePlay(); });
        Add(row, QStyle::SP_MediaSkipBackward, Qt::Key_Comma, [this] { m_player.Step(false); });
        Add(row, QStyle::SP_MediaSkipForward, Qt::Key_Period, [this] { m_player.Step(true); });
        Add(row, QStyle::SP_TitleBarMaxButton, Qt::Key_F,
            [this] { isFullScreen() ? showNormal() : showFullScreen(); });
        connect(new QShortcut(Qt::Key_Q, this), &QShortcut::activated, this, &QWidget::close);
        row->addWidget(m_slider);
        m_slider->setFocusPolicy(Qt::NoFocus);
        m_slider->setRange(0, Milliseconds(m_player.Length()));
        m_slider->setPageStep(5000);
        connect(m_slider, &QSlider::actionTriggered, this,
                [this](int /*action*/) { m_player.Seek(m_slider->sliderPosition() / 1000.0); });
        auto* const timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, [this] {
            if (!m_slider->isSliderDown()) {
                m_slider->setValue(Milliseconds(m_player.Position()));
            }
        });
        timer->start(100);
        setWindowTitle(title);
    }
    bool Show(std::string& error) {
        show();
        return m_video->Show(error);
    }

protected:
    void closeEvent(QCloseEvent* /*event*/) override { m_video->Close(); }

private:
    static int Milliseconds(double seconds) { return static_cast<int>(std::min(seconds, 2e6) * 1000); }
    void Add(QHBoxLayout* row, QStyle::StandardPixmap icon, Qt::Key key,
             const std::function<void()>& action) {
        auto* const button = new QToolButton;
        button->setIcon(style()->standardIcon(icon));
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QToolButton::clicked, this, action);
        connect(new QShortcut(key, this), &QShortcut::activated, this, action);
        row->addWidget(button);
    }

    kq::streams::FilePlayer& m_player;
    VideoWidget* m_video;
    QSlider* m_slider;
};

int Fail(const std::string& why) {
    std::fprintf(stderr, "qt_player: %s\n", why.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qt_player FILE\n");
        return 2;
    }
    KQPlayerSetOutput(KQ_OUTPUT_NONE);
    kq::streams::FilePlayer player;
    std::string error;
    if (!player.Open(argv[1], error)) {
        return Fail(error);
    }
    QApplication application(argc, argv);
    QApplication::setStyle(new ClickStyle);
    PlayerWindow window(argv[1], player);
    const int status = window.Show(error) ? QApplication::exec() : Fail(error);
    if (QGuiApplication::platformName().startsWith("wayland")) {
        std::quick_exit(status); // one in a hundred destructors of Qt 6.4 waits for ever for its own threads
    }
    return status;
}

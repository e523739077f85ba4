// Takes the README's pictures: in a first run the main window after a scan whose cameras have
// answered on the Web-API, the bulk dialog with chosen cameras and typed values, and the live
// view showing a snapshot; in a second run (--second-visit), next to the changed site of the
// demo's second visit, the report of what changed since the first. Meant to run under Xvfb
// inside the network lab next to the demo's simulated cameras (scripts/screenshot.sh); the
// Web-API login is the simulators' own.
#include "CameraClient.h"
#include "MessageBox.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QDialog>
#include <QDir>
#include <QEventLoop>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <QTreeView>

#include <cstdio>
#include <functional>

namespace {

constexpr int kStepTimeout = 60000;
constexpr int kPollInterval = 100;
// The simulated camera's vehicle drives into the picture from the left: by a camera's
// eighth snapshot it is wholly in sight.
constexpr int kSnapshotsUntilVehicle = 8;

QString g_failure;

// Lets the program run until ready() holds; false when it did not within the step's time.
bool waitUntil(const QString &what, const std::function<bool()> &ready)
{
    const QDeadlineTimer deadline(kStepTimeout);
    while (!ready()) {
        if (deadline.hasExpired()) {
            g_failure = QStringLiteral("timed out waiting for ") + what;
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(kPollInterval, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

template<typename T>
T *widget(const QObject *parent, const char *name)
{
    T *found = parent->findChild<T *>(QLatin1String(name));
    if (!found)
        std::fprintf(stderr, "window-screenshot: no widget %s\n", name);
    return found;
}

// The row below parent whose first column reads label.
QModelIndex childRow(const QAbstractItemModel *model, const QModelIndex &parent, const QString &label)
{
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex index = model->index(row, 0, parent);
        if (index.data().toString() == label)
            return index;
    }
    return {};
}

bool categoriesFilled(const QAbstractItemModel *model, const QStringList &categories)
{
    for (int row = 0; row < model->rowCount(); ++row) {
        const QModelIndex camera = model->index(row, 0);
        for (const QString &category : categories) {
            if (model->rowCount(childRow(model, camera, category)) == 0)
                return false;
        }
    }
    return true;
}

// Counts the distinct pictures a label has shown since it was made.
class PictureCounter : public QObject
{
public:
    PictureCounter(QLabel *label, QObject *parent)
        : QObject(parent)
        , m_label(label)
    {
        connect(&m_poll, &QTimer::timeout, this, [this] {
            const qint64 key = m_label->pixmap().cacheKey();
            if (!m_label->pixmap().isNull() && key != m_lastKey) {
                m_lastKey = key;
                ++m_count;
            }
        });
        m_poll.start(kPollInterval / 2);
    }
    int count() const { return m_count; }

private:
    QLabel *m_label;
    QTimer m_poll;
    qint64 m_lastKey = 0;
    int m_count = 0;
};

bool save(QWidget *window, const QString &path)
{
    window->raise();
    window->activateWindow();
    // One more turn of the event loop so that everything changed last is painted.
    QEventLoop loop;
    QTimer::singleShot(500, &loop, &QEventLoop::quit);
    loop.exec();
    if (!window->grab().save(path)) {
        g_failure = QStringLiteral("cannot write ") + path;
        return false;
    }
    std::printf("wrote %s\n", qPrintable(path));
    return true;
}

// Waits until the visit that the window keeps of the scan is stored.
bool waitForVisit(CameraClient &window)
{
    auto *status = widget<QLabel>(&window, "lbSiteStatus");
    return status && waitUntil(QStringLiteral("the visit to be kept"), [&] { return !status->text().isEmpty(); });
}

bool readCameras(CameraClient &window, int expectedCameras)
{
    auto *view = widget<QTreeView>(&window, "tvCameras");
    auto *user = widget<QLineEdit>(&window, "leWebUser");
    auto *password = widget<QLineEdit>(&window, "leWebPassword");
    auto *setCredentials = widget<QPushButton>(&window, "pbSetWebCredentials");
    auto *scan = widget<QPushButton>(&window, "pbScan");
    if (!view || !user || !password || !setCredentials || !scan)
        return false;
    const QAbstractItemModel *model = view->model();
    user->setText(QStringLiteral("admin"));
    password->setText(QStringLiteral("admin"));
    MessageBox::setNextAnswer(QMessageBox::Ok);
    setCredentials->click();
    scan->click();
    return waitUntil(QStringLiteral("the cameras"), [&] { return model->rowCount() >= expectedCameras; })
        && waitUntil(QStringLiteral("the Web-API categories"),
                     [&] { return categoriesFilled(model, {QStringLiteral("System"), QStringLiteral("ANPR")}); });
}

bool takeSiteReport(CameraClient &window, const QString &path)
{
    auto *whatChanged = widget<QPushButton>(&window, "pbWhatChanged");
    if (!whatChanged
        || !waitUntil(QStringLiteral("the report of what changed"), [&] { return whatChanged->isEnabled(); }))
        return false;
    whatChanged->click();
    auto *dialog = widget<QDialog>(&window, "SiteReportDialog");
    if (!dialog || !dialog->isVisible())
        return false;
    dialog->resize(900, 330);
    if (auto *changes = widget<QTreeView>(dialog, "tvChanges")) {
        for (int column = 0; column < changes->model()->columnCount(); ++column)
            changes->resizeColumnToContents(column);
    }
    return save(dialog, path);
}

bool takeMainWindow(CameraClient &window, const QString &path, int expectedCameras)
{
    auto *view = widget<QTreeView>(&window, "tvCameras");
    auto *user = widget<QLineEdit>(&window, "leWebUser");
    auto *password = widget<QLineEdit>(&window, "leWebPassword");
    auto *setCredentials = widget<QPushButton>(&window, "pbSetWebCredentials");
    auto *scan = widget<QPushButton>(&window, "pbScan");
    auto *preview = widget<QLabel>(&window, "lbPreview");
    if (!view || !user || !password || !setCredentials || !scan || !preview)
        return false;
    const QAbstractItemModel *model = view->model();

    scan->click();
    if (!waitUntil(QStringLiteral("the cameras"), [&] { return model->rowCount() >= expectedCameras; }))
        return false;

    // Clicking a camera starts its snapshot preview next to the scan controls.
    const QModelIndex first = model->index(0, 0);
    view->setCurrentIndex(first);
    emit view->clicked(first);
    PictureCounter previews(preview, &window);

    user->setText(QStringLiteral("admin"));
    password->setText(QStringLiteral("admin"));
    MessageBox::setNextAnswer(QMessageBox::Ok);
    setCredentials->click();
    const QString system = QStringLiteral("System");
    const QString anpr = QStringLiteral("ANPR");
    if (!waitUntil(QStringLiteral("the Web-API categories"), [&] { return categoriesFilled(model, {system, anpr}); }))
        return false;
    if (!waitUntil(QStringLiteral("the preview"), [&] { return previews.count() >= kSnapshotsUntilVehicle; }))
        return false;

    view->expand(first);
    view->expand(childRow(model, first, anpr));
    view->resizeColumnToContents(0);
    view->scrollToTop();
    return save(&window, path);
}

bool takeBulkDialog(CameraClient &window, const QString &path)
{
    auto *tabs = widget<QTabWidget>(&window, "twActions");
    auto *open = widget<QPushButton>(&window, "pbBulkProperty");
    if (!tabs || !open)
        return false;
    tabs->setCurrentWidget(widget<QWidget>(&window, "tbWebAPI"));
    open->click();
    auto *dialog = widget<QDialog>(&window, "BulkDialog");
    if (!dialog || !dialog->isVisible())
        return false;
    auto *available = widget<QListView>(dialog, "lvCameras");
    auto *add = widget<QPushButton>(dialog, "pbAdd");
    auto *properties = widget<QTableView>(dialog, "tvSystemProperties");
    auto *propertyTabs = widget<QTabWidget>(dialog, "twProperties");
    if (!available || !add || !properties || !propertyTabs)
        return false;

    // Every other camera goes to "Selected Cameras", so both lists show some.
    QItemSelectionModel *selection = available->selectionModel();
    for (int row = available->model()->rowCount() - 1; row >= 0; row -= 2)
        selection->select(available->model()->index(row, 0), QItemSelectionModel::Select);
    add->click();

    propertyTabs->setCurrentWidget(widget<QWidget>(dialog, "tbSystem"));
    QAbstractItemModel *editor = properties->model();
    const QModelIndex timezone = childRow(editor, {}, QStringLiteral("timezone"));
    const QModelIndex ntp = childRow(editor, {}, QStringLiteral("ntp"));
    if (!timezone.isValid() || !ntp.isValid()) {
        g_failure = QStringLiteral("the system properties timezone and ntp are not offered");
        return false;
    }
    editor->setData(timezone.siblingAtColumn(1), QStringLiteral("Europe/Berlin"));
    editor->setData(ntp.siblingAtColumn(1), QStringLiteral("on"));
    properties->setCurrentIndex(timezone.siblingAtColumn(1));
    properties->scrollTo(timezone);
    return save(dialog, path);
}

bool takeLiveView(CameraClient &window, const QString &path)
{
    auto *tabs = widget<QTabWidget>(&window, "twActions");
    auto *open = widget<QPushButton>(&window, "pbLiveFeed");
    if (!tabs || !open)
        return false;
    tabs->setCurrentWidget(widget<QWidget>(&window, "tbDiscover"));
    open->click();
    auto *dialog = widget<QDialog>(&window, "LiveFeed");
    if (!dialog || !dialog->isVisible())
        return false;
    auto *camera = widget<QComboBox>(dialog, "cbCamera");
    auto *rate = widget<QLineEdit>(dialog, "leRate");
    auto *setRate = widget<QPushButton>(dialog, "pbRate");
    auto *feed = widget<QLabel>(dialog, "lbFeed");
    if (!camera || !rate || !setRate || !feed)
        return false;

    rate->setText(QStringLiteral("1"));
    setRate->click();
    camera->setCurrentIndex(camera->count() - 1);
    PictureCounter pictures(feed, dialog);
    if (!waitUntil(QStringLiteral("the live snapshots"), [&] { return pictures.count() >= kSnapshotsUntilVehicle; }))
        return false;
    return save(dialog, path);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    Q_INIT_RESOURCE(resources);
    QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
    QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));
    QStringList arguments = QCoreApplication::arguments();
    const bool secondVisit = arguments.removeAll(QStringLiteral("--second-visit")) > 0;
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: window-screenshot [--second-visit] FOLDER CAMERA_COUNT\n"
                             "writes main-window.png, bulk-dialog.png and live-view.png into FOLDER,\n"
                             "with --second-visit site-report.png\n");
        return 2;
    }
    const QDir folder(arguments.at(1));
    const int expectedCameras = arguments.at(2).toInt();

    CameraClient window;
    window.move(0, 0);
    window.show();
    if (auto *site = widget<QLineEdit>(&window, "leSite"))
        site->setText(QStringLiteral("Depot North"));

    // A box nobody expected would stop the run: say what it said and close it.
    QTimer boxWatch;
    QObject::connect(&boxWatch, &QTimer::timeout, [] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            g_failure = QStringLiteral("unexpected message box \"%0\": %1").arg(box->windowTitle(), box->text());
            box->reject();
        }
    });
    boxWatch.start(kPollInterval);

    const bool taken = secondVisit
                           ? readCameras(window, expectedCameras)
                                 && takeSiteReport(window, folder.filePath(QStringLiteral("site-report.png")))
                           : takeMainWindow(window, folder.filePath(QStringLiteral("main-window.png")), expectedCameras)
                                 && takeBulkDialog(window, folder.filePath(QStringLiteral("bulk-dialog.png")))
                                 && takeLiveView(window, folder.filePath(QStringLiteral("live-view.png")))
                                 && waitForVisit(window);
    if (!taken || !g_failure.isEmpty()) {
        std::fprintf(stderr, "window-screenshot: %s\n", qPrintable(g_failure));
        return 1;
    }
    return 0;
}

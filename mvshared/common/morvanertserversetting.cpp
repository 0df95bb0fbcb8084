/*
 * morvanertserversetting.cpp: the server address dialog (declared in
 * MorvaneRTServerSetting.h) and its form.
 *
 * The form is built in code the way the form generator builds it: the same
 * object names, row numbers, spacing and margins, and texts translated under
 * the context "MorvaneRTServerSetting", so existing style sheets, tests and
 * translation files keep finding them. Row 1 of the form stays empty.
 */
#include <MVShared/HiDPI.h>
#include <MVShared/MorvaneRTServerSetting.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>
#include <QtCore/QPair>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QVBoxLayout>

namespace {

const char kFormName[] = "MorvaneRTServerSetting";
const int kFormWidth = 301;
const int kFormHeight = 143;
const int kLayoutSpacing = 6;
const int kLayoutMargin = 11;

/* The dialog's widgets, created by setupUi and owned by the dialog. */
struct ServerSettingForm {
    QVBoxLayout* verticalLayout = nullptr;
    QGroupBox* groupBox = nullptr;
    QFormLayout* formLayout = nullptr;
    QLabel* label = nullptr;
    QLineEdit* addr1 = nullptr;
    QLineEdit* addr2 = nullptr;
    QLabel* label_2 = nullptr;
    QDialogButtonBox* buttonBox = nullptr;

    void setupUi(QDialog* dialog);
    void retranslateUi(QDialog* dialog);
};

template <typename Layout>
void setSpacingAndMargins(Layout* layout)
{
    layout->setSpacing(kLayoutSpacing);
    layout->setContentsMargins(kLayoutMargin, kLayoutMargin, kLayoutMargin, kLayoutMargin);
}

template <typename Widget, typename Parent>
Widget* namedChild(Parent* parent, const char* name)
{
    Widget* child = new Widget(parent);
    child->setObjectName(QString::fromLatin1(name));
    return child;
}

void ServerSettingForm::setupUi(QDialog* dialog)
{
    if (dialog->objectName().isEmpty())
        dialog->setObjectName(QString::fromLatin1(kFormName));
    dialog->resize(kFormWidth, kFormHeight);

    verticalLayout = namedChild<QVBoxLayout>(dialog, "verticalLayout");
    setSpacingAndMargins(verticalLayout);

    groupBox = namedChild<QGroupBox>(dialog, "groupBox");
    formLayout = namedChild<QFormLayout>(groupBox, "formLayout");
    setSpacingAndMargins(formLayout);

    label = namedChild<QLabel>(groupBox, "label");
    formLayout->setWidget(0, QFormLayout::LabelRole, label);
    addr1 = namedChild<QLineEdit>(groupBox, "addr1");
    formLayout->setWidget(0, QFormLayout::FieldRole, addr1);
    addr2 = namedChild<QLineEdit>(groupBox, "addr2");
    formLayout->setWidget(2, QFormLayout::FieldRole, addr2);
    label_2 = namedChild<QLabel>(groupBox, "label_2");
    formLayout->setWidget(2, QFormLayout::LabelRole, label_2);
    verticalLayout->addWidget(groupBox);

    buttonBox = namedChild<QDialogButtonBox>(dialog, "buttonBox");
    buttonBox->setStandardButtons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    verticalLayout->addWidget(buttonBox);

    retranslateUi(dialog);
    QObject::connect(buttonBox, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttonBox, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    QMetaObject::connectSlotsByName(dialog);
}

void ServerSettingForm::retranslateUi(QDialog* dialog)
{
    dialog->setWindowTitle(QCoreApplication::translate("MorvaneRTServerSetting", "Server Address Setting"));
    /* The leading blank of the group title is part of the text. */
    groupBox->setTitle(QCoreApplication::translate("MorvaneRTServerSetting", " Address Setting"));
    label->setText(QCoreApplication::translate("MorvaneRTServerSetting", "Server1 Address:"));
    label_2->setText(QCoreApplication::translate("MorvaneRTServerSetting", "Server2 Address:"));
}

/* The middleware's default setting: its first two addresses, empty where
 * there are fewer; further ones are ignored. */
QPair<QString, QString> configuredAddresses()
{
    ObjectNames names;
    DravoPlus::GetServerAddress(nullptr, names);
    QPair<QString, QString> addresses;
    if (names.count > 0)
        addresses.first = QString::fromLatin1(names.names[0]);
    if (names.count > 1)
        addresses.second = QString::fromLatin1(names.names[1]);
    DravoPlus::DeatoryNameSeq(names);
    return addresses;
}

/* The desktop's scale factor, read once per process: every dialog opened
 * later is sized alike even if the desktop changes meanwhile. */
double dialogScaleFactor()
{
    static const double factor = HiDPI::dpiScaleFactor(nullptr);
    return factor;
}

} // namespace

class MorvaneRTServerSettingPrivate
{
public:
    QString firstAddress;
    QString secondAddress;
    ServerSettingForm ui;
};

MorvaneRTServerSetting::MorvaneRTServerSetting(QWidget* parent)
    : QDialog(parent),
      d(new MorvaneRTServerSettingPrivate)
{
    d->ui.setupUi(this);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    const QPair<QString, QString> addresses = configuredAddresses();
    setAddress(addresses.first, addresses.second);
    resize(size() * dialogScaleFactor());
}

MorvaneRTServerSetting::~MorvaneRTServerSetting()
{
    delete d;
}

MorvaneRTServerSettingPrivate* MorvaneRTServerSetting::d_func()
{
    return d;
}

const MorvaneRTServerSettingPrivate* MorvaneRTServerSetting::d_func() const
{
    return d;
}

QString MorvaneRTServerSetting::address1() const
{
    return d_func()->ui.addr1->text();
}

QString MorvaneRTServerSetting::address2() const
{
    return d_func()->ui.addr2->text();
}

void MorvaneRTServerSetting::setAddress(const QString& first, const QString& second)
{
    MorvaneRTServerSettingPrivate* data = d_func();
    data->firstAddress = first;
    data->secondAddress = second;
    data->ui.addr1->setText(first);
    data->ui.addr2->setText(second);
}

int MorvaneRTServerSetting::openServerSetting()
{
    MorvaneRTServerSetting dialog;
    const int result = dialog.exec();
    if (result == QDialog::Accepted) {
        DravoPlus::updateServerSetting(nullptr, dialog.address1().toLatin1().constData(),
                                       dialog.address2().toLatin1().constData());
    }
    return result;
}

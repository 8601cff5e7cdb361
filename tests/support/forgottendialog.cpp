// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"

#include <QMessageBox>

using namespace Qt::Literals::StringLiterals;

/// Forgets to answer boxes. That and no more is to fail.
class ForgottenDialog : public QObject
{
    Q_OBJECT

private slots:
    void forgets()
    {
        QMessageBox::warning(nullptr, u"Splicora"_s, u"first"_s);
        QMessageBox::warning(nullptr, u"Splicora"_s, u"second"_s);
    }
    void goesOn() { }
};

SPLICORA_TEST_MAIN(ForgottenDialog)

#include "forgottendialog.moc"

#pragma once

#include <QIntValidator>

/// Accepts integers in their plain decimal form only: no leading zeros, no plus sign, no blanks.
/// fixup() replaces any input by the lower bound of the range.
class NdiIntValidator : public QIntValidator {
    Q_OBJECT

public:
    NdiIntValidator(int bottom, int top, QObject* parent);
    ~NdiIntValidator() override;

    QValidator::State validate(QString& input, int& pos) const override;
    void fixup(QString& input) const override;
};

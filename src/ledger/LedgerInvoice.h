// A recorded run's invoice made again from the ledger alone.
#pragma once

#include "app/Money.h"
#include "engine/Prompter.h"
#include "engine/model/Document.h"
#include "ledger/LedgerStore.h"

#include <memory>

namespace qm::ledger {

/// The invoice of a recorded run, built from the figures, the profile and the
/// options as they were when it was billed, with its number and its date: the
/// same invoice even when the documents are gone or the profile has changed.
/// Throws LedgerError for a stopped run, which has no invoice.
std::unique_ptr<engine::Document> recreateInvoice(const RunRecord& run, Prompter& prompter,
                                                  const app::CurrencyFormat& currency);

} // namespace qm::ledger

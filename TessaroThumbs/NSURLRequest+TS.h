// The helper's own answers about certificates and cookies, for every load of the process: no certificate is accepted
// that the platform's rules refuse, and no cookie is sent or kept.
#pragma once

namespace tessaro {

// Replaces the request class's operations. Called once, before anything is loaded.
void installRequestAnswers();

} // namespace tessaro

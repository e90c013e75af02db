// SPDX-License-Identifier: MIT
// Reserved for the engine's diagnostics; holds no code.

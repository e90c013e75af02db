// Reserved for the engine's diagnostics; holds no code.

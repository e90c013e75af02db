// Reserved for the engine's diagnostics. The unit is part of the library's layout and holds no code.

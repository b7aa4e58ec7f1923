"""denoise on real and made-up sound: usage: denoise_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
